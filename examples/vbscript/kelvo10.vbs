' Reads and drives a Kelvo10: cscript //nologo kelvo10.vbs PORT
Option Explicit

Dim control, setup, group, values, errors, times
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

' A script's own arrays hold variants, which the controls do not take: an array of ids is passed on as a control gave it.
control.ImmediateReadGroups control.Groups
control.GetChansVals control.InChans(group), values, errors, times
WScript.Echo "IN: " & values(0) & " " & control.GetChanUnit(0)

control.SetChanVal 1, 1.5
WScript.Echo "OUT set to 1.5 " & control.GetChanUnit(1)
control.Disconnect

' A failure raises an error with the text of its code.
On Error Resume Next
control.Identify
WScript.Echo "Identify: " & Err.Description
