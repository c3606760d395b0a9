Attribute VB_Name = "Kelvo10"
' Reads a Kelvo10 from Excel. Not run by the project's tests: there is no Office where they run.
Option Explicit

Public Sub ReadKelvo10()
    Dim control As Object, setup As Object
    Set control = CreateObject("Ulix.UlixInstrKelvo10Ctl.1")
    Set setup = CreateObject("Ulix.UlixSetup.1")
    setup.Attach control
    setup.Serial("port") = 5
    control.Connect
    Dim group As Long
    group = control.CreateGroup
    control.ConnectGroupChan group, 0
    Dim groups(0) As Long, ids(0) As Long
    groups(0) = group
    Dim values As Variant, errors As Variant, times As Variant
    control.ImmediateReadGroups ByValue(groups)
    control.GetChansVals ByValue(ids), values, errors, times
    ActiveSheet.Range("A1").Value = values(0)
    ActiveSheet.Range("B1").Value = CDate(times(0))
    control.Disconnect
End Sub

' The control takes arrays by value only; a variable that holds an array would go by reference.
Private Function ByValue(ByRef ids() As Long) As Variant
    ByValue = ids
End Function
