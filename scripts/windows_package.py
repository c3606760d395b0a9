"""Makes the Windows packages: for both bitnesses a zip, and an MSI for 64-bit and one for 32-bit Windows.

The registry entries of the MSI and the manifests for hosts that register nothing are taken from what the library itself
registers for a user, in a Wine prefix that is made for it.

Run as: python3 windows_package.py X64_BUILD X86_BUILD TARGET (scripts/package windows does).
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile
from xml.sax.saxutils import quoteattr

SOURCE = pathlib.Path(__file__).resolve().parents[1]
CLASSES = "HKEY_CURRENT_USER\\Software\\Classes\\"
KEY = "Software\\Classes\\"  # below the hive of the user
LIBRARY = "UlixInstrAx.dll"
ASSEMBLY = "Ulix.Controls"
# Never change this code. The system uses it to find an older version and to replace it.
UPGRADE_CODE = "6C1E52E0-9B1B-4B53-8F0B-5B0C2A7D3000"
# The id of a component. Change it only when the names of the files in the component change.
COMPONENT = "6C1E52E0-9B1B-4B53-8F0B-5B0C2A7D30{number:02d}"
PROCESSORS = {"x64": "amd64", "x86": "x86"}
# The names of the flags in the registered number of MiscStatus.
MISC_STATUS = "recomposeonresize,cantlinkinside,insideout,activatewhenvisible,setclientsitefirst"
README = """UlixInstrAx {version}: instrument controls for hosts of Windows 10 and later

x64   for 64-bit hosts
x86   for 32-bit hosts

Each folder holds the library UlixInstrAx.dll and the command line ulix.exe. They need no other file.

To register for the present user: register.cmd; to take that back: unregister.cmd. No administrator rights are needed.

To use a folder without registration: copy its UlixInstrAx.dll and Ulix.Controls.manifest beside the host program, and
host.exe.manifest too, under the name of the host program (program.exe.manifest).
"""
REGISTER = ("@echo off\r\n"
            "rem Registers both libraries for the present user. A 32-bit Windows has only the 32-bit one.\r\n"
            "set regsvr64=%SystemRoot%\\System32\\regsvr32.exe\r\n"
            "set regsvr=%SystemRoot%\\SysWOW64\\regsvr32.exe\r\n"
            "if not exist \"%regsvr%\" set regsvr=%SystemRoot%\\System32\\regsvr32.exe\r\n"
            "if \"%PROCESSOR_ARCHITECTURE%%PROCESSOR_ARCHITEW6432%\"==\"x86\" goto x86\r\n"
            "\"%regsvr64%\" /s {how}/n /i:user \"%~dp0x64\\UlixInstrAx.dll\"\r\n"
            "if errorlevel 1 exit /b 1\r\n"
            "if not exist \"%SystemRoot%\\SysWOW64\\regsvr32.exe\" exit /b 0\r\n"
            ":x86\r\n"
            "\"%regsvr%\" /s {how}/n /i:user \"%~dp0x86\\UlixInstrAx.dll\"\r\n"
            "if errorlevel 1 exit /b 1\r\n")


def run(*command, **options):
    done = subprocess.run([*map(str, command)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != 0:
        sys.exit(f"{command[0]}: {done.returncode}\n{done.stdout.decode(errors='replace')}")


def exported(path):
    """Reads the values below the user's classes from an export of the registry: (key, name) to text."""
    values, key = {}, None
    for line in path.read_text("utf-16").splitlines():
        if match := re.fullmatch(r"\[(.+)\]", line):
            key = match[1].removeprefix(CLASSES) if match[1].startswith(CLASSES) else None
            if key:
                values[key, None] = ""
        elif key and (match := re.fullmatch(r'(@|"(.*?)")="(.*)"', line)):
            values[key, match[2] or ""] = match[3].replace("\\\\", "\\").replace('\\"', '"')
    return values


def registration(library):
    """The entries that the library registers for a user. {path} stands for its own path, {folder} for its folder."""
    with tempfile.TemporaryDirectory() as folder:
        env = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "XAUTHORITY")}
        env |= {"WINEPREFIX": f"{folder}/wine", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree=;mshtml="}
        path = shutil.copy(library, folder)
        windows = "Z:" + path.replace("/", "\\")

        def export(name):
            run("wine", "regedit", "/e", f"Z:{folder}/{name}".replace("/", "\\"), CLASSES.rstrip("\\"), env=env)
            return exported(pathlib.Path(folder, name))
        try:
            run("wineboot", "--init", env=env)
            run("wine", "reg", "add", CLASSES.rstrip("\\"), "/f", env=env)
            before = export("before.reg")
            run("wine", "regsvr32", "/s", "/n", "/i:user", windows, env=env)
            after = export("after.reg")
        finally:
            subprocess.run(["wineserver", "-k"], env=env, check=False)
            subprocess.run(["wineserver", "-w"], env=env, check=False, stdout=subprocess.DEVNULL)
    new = {place: text for place, text in after.items() if place not in before}
    keys_above = {key[:at] for key, _ in new for at in range(len(key)) if key[at] == "\\"}
    has_value = {key for key, name in new if name is not None}
    folder_of = windows.rpartition("\\")[0]
    return {(key, name): text.replace(windows, "{path}").replace(folder_of, "{folder}")
            for (key, name), text in new.items()
            # An empty key is kept too, because its presence is the information.
            if name is not None or (key not in has_value and key not in keys_above)}


def placed(values, bits, platform):
    """The values that one library registers, under the keys that a system of that platform uses for them.

    The 32-bit library is registered like the 64-bit one. A 64-bit Windows has separate keys for the classes of
    32-bit programs. It has one set of names and type libraries for both bitnesses."""
    for (key, name), text in sorted(values.items(), key=lambda row: (row[0][0], row[0][1] or "")):
        if bits == "x86":
            key = key.replace("\\0\\win64", "\\0\\win32")
        if bits == platform or key.endswith("\\0\\win32"):
            yield key, name, text
        elif key.startswith(("CLSID\\", "Interface\\")):
            yield "Wow6432Node\\" + key, name, text


def rows(values, bits, platform):
    for number, (key, name, text) in enumerate(placed(values, bits, platform), 1):
        text = text.replace("{path}", f"[#Library{bits}]").replace("{folder}", f"[FOLDER{bits}]")
        named = f"Name={quoteattr(name)} " if name else ""
        yield (f'<RegistryValue Id="Row{bits}{number}" Root="HKCU" Key={quoteattr(KEY + key)} '
               f'{named}Type="string" Value={quoteattr(text)}/>')


def component(bits, number, values, platform):
    # A 64-bit component writes to the keys that it names, without redirection. This holds for 32-bit programs too.
    wide = ' Win64="yes"' if platform == "x64" else ""
    return f"""
          <Directory Id="FOLDER{bits}" Name="{bits}">
            <Component Id="Files{bits}" Guid="{COMPONENT.format(number=number)}"{wide}>
              <File Id="Library{bits}" Name="{LIBRARY}" Source="{bits}/{LIBRARY}" KeyPath="yes"/>
              <File Id="Program{bits}" Name="ulix.exe" Source="{bits}/ulix.exe"/>
              <File Id="Assembly{bits}" Name="{ASSEMBLY}.manifest" Source="{bits}/{ASSEMBLY}.manifest"/>
              <File Id="Host{bits}" Name="host.exe.manifest" Source="{bits}/host.exe.manifest"/>
              <RemoveFolder Id="Remove{bits}" On="uninstall"/>
              {chr(10).join(rows(values, bits, platform))}
            </Component>
          </Directory>"""


def wix(platform, version, values):
    """The source of an MSI. The MSI for 64-bit Windows contains both libraries."""
    parts = {"x64": 10, "x86": 11} if platform == "x64" else {"x86": 12}
    folders = "".join(component(bits, number, values, platform) for bits, number in parts.items())
    used = [f"Files{bits}" for bits in parts]
    references = "".join(f'<ComponentRef Id="{name}"/>' for name in [*used, "Texts"])
    return f"""<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="*" Name="UlixInstrAx" Language="1033" Version="{version}" Manufacturer="UlixInstrAx" UpgradeCode="{UPGRADE_CODE}">
    <Package InstallerVersion="200" Compressed="yes" InstallScope="perUser"/>
    <MajorUpgrade DowngradeErrorMessage="A newer version is installed already."/>
    <Media Id="1" Cabinet="ulix.cab" EmbedCab="yes"/>
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Directory Id="LocalAppDataFolder">
        <Directory Id="INSTALLDIR" Name="UlixInstrAx">
          <Component Id="Texts" Guid="{COMPONENT.format(number=13 if platform == 'x64' else 14)}">
            <File Id="Licence" Name="LICENSE.txt" Source="LICENSE.txt" KeyPath="yes"/>
            <File Id="Readme" Name="README.txt" Source="README.txt"/>
            <RemoveFolder Id="RemoveAll" On="uninstall"/>
          </Component>{folders}
        </Directory>
      </Directory>
    </Directory>
    <Feature Id="Main" Level="1">{references}</Feature>
  </Product>
</Wix>
"""


def assembly_manifest(values, bits):
    """The manifest that lets a host program use the classes beside it without the registry."""
    at = {key: text for (key, name), text in values.items() if name in ("", None)}
    library = next(key.split("\\")[1] for key in at if key.startswith("TypeLib\\"))
    classes, interfaces = [], []
    for key, text in sorted(at.items()):
        if match := re.fullmatch(r"CLSID\\(\{[^\\]+\})", key):
            prog_id, bare = at.get(f"{key}\\ProgID"), at.get(f"{key}\\VersionIndependentProgID")
            about = f" progid={quoteattr(prog_id)} tlbid={quoteattr(library)}" if prog_id else ""
            if f"{key}\\MiscStatus" in at:
                about += f' miscStatusContent="{MISC_STATUS}"'
            inner = f"<progid>{bare}</progid>" if bare else ""
            classes.append(f'<comClass clsid="{match[1]}" description={quoteattr(text)} threadingModel="Apartment"'
                           f'{about}>{inner}</comClass>')
        elif match := re.fullmatch(r"Interface\\(\{[^\\]+\})", key):
            interfaces.append(f'<comInterfaceExternalProxyStub name={quoteattr(text)} iid="{match[1]}" '
                              f'proxyStubClsid32="{at[key + chr(92) + "ProxyStubClsid32"]}" tlbid="{library}"/>')
    nl = "\n    "
    return f"""<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  {identity(ASSEMBLY, bits)}
  <file name="{LIBRARY}">
    {nl.join(classes)}
    <typelib tlbid="{library}" version="1.0" helpdir=""/>
  </file>
  {(nl[:-2]).join(interfaces)}
</assembly>
"""


def identity(name, bits):
    return f'<assemblyIdentity type="win32" name="{name}" version="1.0.0.0" processorArchitecture="{PROCESSORS[bits]}"/>'


def host_manifest(bits):
    return f"""<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  {identity("Host", bits)}
  <dependency>
    <dependentAssembly>
      {identity(ASSEMBLY, bits)}
    </dependentAssembly>
  </dependency>
</assembly>
"""


def lay_out(folder, builds, values, version):
    for bits, build in builds.items():
        place = folder / bits
        place.mkdir(parents=True)
        for file in (build / "controls" / LIBRARY, build / "ulix.exe"):
            run(f"{'x86_64' if bits == 'x64' else 'i686'}-w64-mingw32-strip", "--strip-unneeded", "-o", place / file.name, file)
        (place / f"{ASSEMBLY}.manifest").write_text(assembly_manifest(values, bits))
        (place / "host.exe.manifest").write_text(host_manifest(bits))
    (folder / "README.txt").write_text(README.format(version=version).replace("\n", "\r\n"), newline="")
    (folder / "LICENSE.txt").write_text((SOURCE / "LICENSE").read_text().replace("\n", "\r\n"), newline="")
    (folder / "register.cmd").write_text(REGISTER.format(how=""), newline="")
    (folder / "unregister.cmd").write_text(REGISTER.replace("Registers", "Unregisters").format(how="/u "), newline="")


def main(x64, x86, target):
    target = pathlib.Path(target)
    target.mkdir(parents=True, exist_ok=True)
    builds = {"x64": pathlib.Path(x64), "x86": pathlib.Path(x86)}
    version = re.search(r"project\(UlixInstrAx VERSION (\d+\.\d+\.\d+)", (SOURCE / "CMakeLists.txt").read_text())[1]
    values = registration(builds["x64"] / "controls" / LIBRARY)
    with tempfile.TemporaryDirectory() as work:
        folder = pathlib.Path(work, f"UlixInstrAx-{version}")
        lay_out(folder, builds, values, version)
        with zipfile.ZipFile(target / f"{folder.name}.zip", "w", zipfile.ZIP_DEFLATED) as packed:
            for file in sorted(path for path in folder.rglob("*") if path.is_file()):
                packed.write(file, file.relative_to(work))
        for platform in builds:
            source = pathlib.Path(work, f"{platform}.wxs")
            source.write_text(wix(platform, version, values))
            made = target.resolve() / f"{folder.name}-{platform}.msi"
            run("wixl", "--arch", platform, "-o", made, source, cwd=folder)


main(*sys.argv[1:])
