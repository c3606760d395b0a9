"""An instrument on emulated USB: its device, and a conversation to replay. Linux only, with umockdev-run.

The device has one vendor-specific interface with a bulk endpoint each way, full speed.
"""

import shutil
import struct

DEVICE = "/dev/bus/usb/001/007"
BULK, OUT, IN, PACKET = 3, 0x02, 0x81, 64


def available():
    return shutil.which("umockdev-run") is not None


def descriptors(vendor, product, interface_class=0xFF):
    endpoints = b"".join(struct.pack("<BBBBHB", 7, 5, endpoint, 2, PACKET, 0) for endpoint in (OUT, IN))
    interface = struct.pack("<9B", 9, 4, 0, 0, 2, interface_class, 0, 0, 0) + endpoints
    config = struct.pack("<BBHBBBBB", 9, 2, 9 + len(interface), 1, 1, 0, 0x80, 50) + interface
    return struct.pack("<BBHBBBBHHHBBBB", 18, 1, 0x200, 0, 0, 0, 64, vendor, product, 0x100, 0, 0, 0, 1) + config


def description(vendor, product, number=7, **how):
    """A device for umockdev-run. Number 7 is DEVICE. Any other number has no node and cannot be opened."""
    return f"""P: /devices/pci0000:00/0000:00:14.0/usb1/1-{number}
{f"N: bus/usb/001/{number:03}" if number == 7 else "E: TAGS=:unopenable:"}
E: DEVNAME=/dev/bus/usb/001/{number:03}
E: DEVTYPE=usb_device
E: SUBSYSTEM=usb
E: BUSNUM=001
E: DEVNUM={number:03}
E: MAJOR=189
E: MINOR={number - 1}
A: bConfigurationValue=1
A: busnum=1
A: devnum={number}
A: idVendor={vendor:04x}
A: idProduct={product:04x}
A: speed=12
H: descriptors={descriptors(vendor, product, **how).hex().upper()}
"""


def transfer(endpoint, size, data):
    return f"USBDEVFS_REAPURBNDELAY 0 {BULK} {endpoint} 0 0 {size} {len(data)} 0 {data.hex().upper()}"


def conversation(*exchanges):
    """The commands, each with its packets, for umockdev-run to replay. A read before any command gets no data."""
    lines = [f"@DEV {DEVICE}", transfer(IN, PACKET, b"")]
    for command, *packets in exchanges:
        lines.append(transfer(OUT, len(command), command.encode()))
        lines += [" " * depth + transfer(IN, PACKET, packet.encode()) for depth, packet in enumerate(packets, 1)]
    return "\n".join(lines) + "\n"
