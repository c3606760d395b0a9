' Reads a Kelvo10 once: cscript //nologo kelvo10.vbs PORT
Option Explicit

Dim control, setup, group
Set control = CreateObject("Ulix.UlixInstrKelvo10Ctl.1")
WScript.Echo control.InstrType & ", library " & control.Version

If WScript.Arguments.Count = 0 Then WScript.Quit 0

Set setup = CreateObject("Ulix.UlixSetup.1")
setup.Attach control
setup.Serial("port") = CLng(WScript.Arguments(0))

control.Connect
WScript.Echo control.Identify
group = control.CreateGroup
setup.SetGroup group, 1000, 0, 0, 0
control.ConnectGroupChan group, 0
control.SetChanVal 1, 1.5
WScript.Echo "OUT set to 1.5 " & control.GetChanUnit(1)
control.Disconnect
