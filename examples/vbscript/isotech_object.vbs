' An Isotech controller that this script reaches in its own way: the control hands each set point to an object here.
'   cscript isotech_object.vbs PORT
Option Explicit

Class Controller
  Public Sub SetPoint(address, degrees)
    If degrees > 500 Then Err.Raise vbObjectError + 7, "Controller", "too hot"
    WScript.Echo "controller " & address & " goes to " & degrees
  End Sub
End Class

Dim control, setup
Set control = CreateObject("Ulix.UlixInstrIsotechCtl.1")
Set setup = CreateObject("Ulix.UlixSetup.1")
setup.Attach control
setup.Serial("port") = CLng(WScript.Arguments(0))
setup.Setting("model") = "object"
setup.Setting("address") = "7"
Set setup.Spec.SetPointObject = New Controller

control.Connect
control.SetChanVal 0, 25.5
On Error Resume Next
control.SetChanVal 0, 600
WScript.Echo "600 is refused: " & Hex(Err.Number)
Err.Clear
Set setup.Spec.SetPointObject = Nothing
control.SetChanVal 0, 25
WScript.Echo "without an object: " & Hex(Err.Number)
control.Disconnect
