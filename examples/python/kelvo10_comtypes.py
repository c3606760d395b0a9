"""Scans a Kelvo10 with events, using comtypes. Usage: python kelvo10_comtypes.py PORT

Not run by the project's tests: there is no Windows Python where they run.
"""

import sys
import time

import comtypes.client


class Events:
    def DataChange(self, group, quantity, ids, values, errors, times):
        for channel, value, error in zip(ids, values, errors):
            print(group, channel, value if error == 0 else hex(error & 0xFFFFFFFF))


control = comtypes.client.CreateObject("Ulix.UlixInstrKelvo10Ctl.1")
setup = comtypes.client.CreateObject("Ulix.UlixSetup.1")
setup.Attach(control)
setup.Serial["port"] = int(sys.argv[1])
control.Connect()
group = control.CreateGroup()
setup.SetGroup(group, 500, 0, 0, 0)
control.ConnectGroupChan(group, 0)
sink = comtypes.client.GetEvents(control, Events())  # the events come on the scan thread
control.RunGroup(group)
time.sleep(5)
control.StopGroup(group)
control.Disconnect()
