// Drives a Kelvo10 from JScript: cscript //nologo kelvo10.js PORT
// JScript has no out arguments, so it cannot read what members give beside their result, such as the values of
// GetChansVals; a VBScript can. Its own arrays are objects, which the controls do not take: an array of ids is passed on
// as a control gave it (Groups, InChans, OutChans).
var control = new ActiveXObject("Ulix.UlixInstrKelvo10Ctl.1");
WScript.Echo(control.InstrType + ", library " + control.Version);

function drive(port) {
  var setup = new ActiveXObject("Ulix.UlixSetup.1");
  setup.Attach(control);
  setup.Serial("port") = port;
  control.Connect();
  WScript.Echo(control.Identify());

  var group = control.CreateGroup();
  setup.SetGroup(group, 1000, 0, 0, 0);
  control.ConnectGroupChan(group, 0);
  control.ImmediateReadGroups(control.Groups);

  control.SetChanVal(1, 1.5);
  WScript.Echo("OUT set to 1.5 " + control.GetChanUnit(1));
  control.Disconnect();
}

if (WScript.Arguments.length > 0) {
  drive(Number(WScript.Arguments(0)));
  try {
    control.Identify();
  } catch (failure) {
    WScript.Echo(failure.description);
  }
}
