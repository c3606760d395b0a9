"""Reads a Kelvo10 using pywin32. Usage: python kelvo10_pywin32.py PORT

Not run by the project's tests: there is no Windows Python where they run.
"""

import sys

import win32com.client

control = win32com.client.Dispatch("Ulix.UlixInstrKelvo10Ctl.1")
setup = win32com.client.Dispatch("Ulix.UlixSetup.1")
setup.Attach(control)
setup.SetSerial("port", int(sys.argv[1]))
control.Connect()
print(control.Identify())
control.SetChanVal(1, 1.5)
control.Disconnect()
