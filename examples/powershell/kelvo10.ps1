# Reads and drives a Kelvo10: powershell -File kelvo10.ps1 -Port 5
# Not run by the project's tests: there is no PowerShell where they run.
param([int]$Port = 1)

$control = New-Object -ComObject Ulix.UlixInstrKelvo10Ctl.1
$setup = New-Object -ComObject Ulix.UlixSetup.1
$setup.Attach($control)
[void]$setup.GetType().InvokeMember('Serial', 'SetProperty', $null, $setup, @('port', $Port))
$control.Connect()
$control.Identify()
$control.SetChanVal(1, [double]1.5)
$control.Disconnect()
