// Reads a Kelvo10 from C#, with a reference to "UlixInstrAx 1.0 Type Library": Kelvo10.exe PORT
// Not run by the project's tests: there is no .NET where they run.
using System;
using UlixInstrAx;

static class Program
{
    [STAThread]
    static void Main(string[] arguments)
    {
        var control = new UlixInstrKelvo10Ctl();
        var setup = new UlixSetup();
        setup.Attach(control);
        setup.set_Serial("port", int.Parse(arguments[0]));
        control.Connect();
        Console.WriteLine(control.Identify());
        int group = control.CreateGroup();
        control.ConnectGroupChan(group, 0);
        control.ImmediateReadGroups(new int[] { group });
        control.GetChansVals(new int[] { 0 }, out object values, out object errors, out object times);
        Console.WriteLine(((object[])values)[0]);
        control.Disconnect();
    }
}
