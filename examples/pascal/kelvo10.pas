{ A host in Pascal: drives a Kelvo10 late bound, then early bound with events, and keeps its configuration.
  Usage: kelvo10 PORT. Needs the unit that import_types writes from the type library, and nothing else of the server.
  Ends with 1, and says what, when something is not as it should be. }
program kelvo10;

{$mode objfpc}{$H+}{$apptype console}

uses
  Windows, SysUtils, Classes, Variants, ActiveX, ComObj, UlixInstrAx_1_0_TLB;

const
  ProgId = 'Ulix.UlixInstrKelvo10Ctl.1';
  Input = 0;
  Output = 1;
  ScansWanted = 3;
  SecondsToWait = 30;

type
  { Takes the events of a control. They come through the interface's own table, so the class implements the interface:
    a sink made for dispatch calls alone, such as the runtime's TEventSink, would crash. They come on the scan thread:
    nothing here touches the control, or a text of another thread. }
  TSink = class(TInterfacedObject, IDispatch, IUlixInstrEvents)
  private
    FScans: LongInt;
    FGroup, FChannels, FChannel, FError: Integer;
    FValue: Single;
    FTime: TDateTime;
    FThread: TThreadID;
  public
    function GetTypeInfoCount(out Count: LongInt): HResult; stdcall;
    function GetTypeInfo(Index, Locale: LongInt; out Info): HResult; stdcall;
    function GetIDsOfNames(const Iid: TGUID; Names: Pointer; Count, Locale: LongInt; Ids: Pointer): HResult; stdcall;
    function Invoke(Id: LongInt; const Iid: TGUID; Locale: LongInt; Flags: Word; var Params; Answer, Failure, Argument: Pointer):
      HResult; stdcall;
    procedure MeasReady(dwIdGroup: Integer); safecall;
    procedure DataChange(dwIdGroup: Integer; wChansQty: Integer; adwIdChans: OleVariant; avValues: OleVariant;
      adwErrors: OleVariant; aTimeStamps: OleVariant); safecall;
    procedure DevStatusChange(dwStatus: Integer); safecall;
    procedure DevError(dwError: Integer); safecall;
    procedure SysError(dwError: Integer); safecall;
    procedure Progress(byPercentDone: Smallint); safecall;
    procedure CfgGroupChange(dwIdGroup: Integer); safecall;
  end;

function TSink.GetTypeInfoCount(out Count: LongInt): HResult; stdcall;
begin
  Count := 0;
  Result := E_NOTIMPL;
end;

function TSink.GetTypeInfo(Index, Locale: LongInt; out Info): HResult; stdcall;
begin
  Result := E_NOTIMPL;
end;

function TSink.GetIDsOfNames(const Iid: TGUID; Names: Pointer; Count, Locale: LongInt; Ids: Pointer): HResult; stdcall;
begin
  Result := E_NOTIMPL;
end;

function TSink.Invoke(Id: LongInt; const Iid: TGUID; Locale: LongInt; Flags: Word; var Params; Answer, Failure, Argument: Pointer):
  HResult; stdcall;
begin
  Result := E_NOTIMPL;
end;

procedure TSink.DataChange(dwIdGroup: Integer; wChansQty: Integer; adwIdChans: OleVariant; avValues: OleVariant;
  adwErrors: OleVariant; aTimeStamps: OleVariant); safecall;
begin
  FGroup := dwIdGroup;
  FChannels := wChansQty;
  FChannel := adwIdChans[0];
  FValue := avValues[0];
  FError := adwErrors[0];
  FTime := aTimeStamps[0];
  FThread := GetCurrentThreadId;
end;

procedure TSink.MeasReady(dwIdGroup: Integer); safecall;
begin
  InterlockedIncrement(FScans);
end;

procedure TSink.DevStatusChange(dwStatus: Integer); safecall;
begin
end;

procedure TSink.DevError(dwError: Integer); safecall;
begin
end;

procedure TSink.SysError(dwError: Integer); safecall;
begin
end;

procedure TSink.Progress(byPercentDone: Smallint); safecall;
begin
end;

procedure TSink.CfgGroupChange(dwIdGroup: Integer); safecall;
begin
end;

var
  Checks: Integer = 0;

procedure Check(Holds: Boolean; const What: string);
begin
  Inc(Checks);
  if not Holds then raise Exception.Create('not as it should be: ' + What);
end;

{ An array of ids. A function's result is passed by value, which the controls ask for; a late-bound call would pass a
  variable by reference, and be refused. }
function Ids(const Values: array of Integer): OleVariant;
var
  k: Integer;
begin
  Result := VarArrayCreate([0, High(Values)], varInteger);
  for k := 0 to High(Values) do Result[k] := Values[k];
end;

function Numbers(const Values: array of Double): OleVariant;
var
  k: Integer;
begin
  Result := VarArrayCreate([0, High(Values)], varVariant);
  for k := 0 to High(Values) do Result[k] := Values[k];
end;

procedure DriveLateBound(Port: Integer);
var
  Control, Setup, Taken, Values, Errors, Times: OleVariant;
  Limit: Single;
  Unknown, Group: Integer;
begin
  Control := CreateOleObject(ProgId);
  Setup := CreateOleObject('Ulix.UlixSetup.1');
  Setup.Attach(Control);
  IUlixSetup(IDispatch(Setup)).Serial['port'] := Port;
  WriteLn(Control.InstrType, ', library ', Control.Version);
  Control.Connect;
  WriteLn('late: ', Control.Identify);
  Check(Control.IsConnected <> 0, 'it is connected');

  Group := Control.CreateGroup;
  Control.ConnectGroupChan(Group, Input);
  Control.ImmediateReadGroups(Ids([Group]));
  Control.GetChansVals(Ids([Input]), Values, Errors, Times);
  Check(VarArrayHighBound(Values, 1) = 0, 'one value is given for one id');
  Check(Errors[0] = 0, 'the reading has no error');
  WriteLn('late: IN ', Single(Values[0]):0:3, ' ', Control.GetChanUnit(Input), ' at ',
    DateTimeToStr(TDateTime(Times[0])));

  Control.SetChansVals(Ids([Output]), Numbers([1.25]));
  Control.SetChanVal(Output, 1.5);
  Control.GetChansVals(Ids([Output]), Values, Errors, Times);
  Check(Values[0] = 1.5, 'the output keeps what it was set to');

  { The place of a number has its type; an empty variant would not do. }
  Limit := 9;
  Check(Control.GetChanLim(Input, 0, Limit) = 0, 'the input has no limit');
  Check(Limit = 0, 'the limit is 0');
  Unknown := 9;
  WriteLn('late: $80043B00 is "', Control.GetErrorText(Integer($80043B00), 0, Unknown), '"');
  Check(Unknown = 0, 'the code has a text');

  Taken := Ids([Input]);
  try
    Control.GetChansVals(Taken, Values, Errors, Times);
    Check(False, 'an array by reference is refused');
  except
    on E: EOleException do WriteLn('late: refused: ', E.Message, ' ($', IntToHex(LongWord(E.ErrorCode), 8), ')');
  end;
  Control.Disconnect;
end;

procedure AwaitScans(Sink: TSink);
var
  k: Integer;
begin
  for k := 1 to SecondsToWait * 20 do
  begin
    if Sink.FScans >= ScansWanted then Exit;
    Sleep(50);
  end;
  Check(False, 'scans are told');
end;

procedure ScanEarlyBound(const Control: IUlixInstr; const Setup: IUlixSetup);
var
  Sink: TSink;
  Kept: IUlixInstrEvents;
  Cookie: DWord;
  Group, Scans: Integer;
  Values, Errors, Times: OleVariant;
begin
  Sink := TSink.Create;
  Kept := Sink;
  InterfaceConnect(Control, IUlixInstrEvents, Kept, Cookie);
  Group := Control.CreateGroup;
  Control.ConnectGroupChan(Group, Input);
  Setup.SetGroup(Group, 100, 0, 0, 0);
  Control.RunGroup(Group);
  Check(Control.IsGroupRunning(Group) <> 0, 'the group runs');
  AwaitScans(Sink);
  Control.StopGroup(Group);
  InterfaceDisconnect(Control, IUlixInstrEvents, Cookie);
  WriteLn('event: group ', Sink.FGroup, ', channel ', Sink.FChannel, ': ', Sink.FValue:0:3, ', error ', Sink.FError);
  Check((Sink.FGroup = Group) and (Sink.FChannels = 1) and (Sink.FChannel = Input), 'the event names group and channel');
  Check(Sink.FThread <> GetCurrentThreadId, 'events come on another thread');
  Check(Abs(Sink.FTime - Now) < 1 / 24, 'the time is local');
  Control.GetChansVals(Ids([Input]), Values, Errors, Times);
  Check(Single(Values[0]) = Sink.FValue, 'the record holds what the event told');
  Scans := Sink.FScans;
  Control.ImmediateReadGroups(Ids([Group]));
  Check(Sink.FScans = Scans, 'a disconnected sink is told nothing');
end;

procedure KeepConfiguration(const Control: IUlixInstr; const Setup: IUlixSetup; Port: Integer);
var
  Memory: TMemoryStream;
  Stream: IStream;
  Other: IUlixInstr;
  OtherSetup: IUlixSetup;
begin
  Setup.Setting['input-function'] := 'OHM500';
  Memory := TMemoryStream.Create;
  Stream := TStreamAdapter.Create(Memory, soOwned);
  OleCheck((Control as IPersistStreamInit).Save(Stream, True));
  Check((Control as IPersistStreamInit).IsDirty = S_FALSE, 'a saved control is clean');
  Memory.Position := 0;
  Other := CoUlixInstrKelvo10Ctl.Create;
  OleCheck((Other as IPersistStreamInit).Load(Stream));
  OtherSetup := CoUlixSetup.Create;
  OtherSetup.Attach(Other);
  Check(OtherSetup.Serial['port'] = Port, 'the port is kept');
  Check(OtherSetup.Setting['input-function'] = 'OHM500', 'the input is kept');
  Check(VarArrayHighBound(Other.Get_Groups, 1) = VarArrayHighBound(Control.Get_Groups, 1), 'the groups are kept');
  WriteLn('kept: ', Memory.Size, ' bytes');
end;

procedure ShowErrors(const Control: IUlixInstr);
begin
  try
    Control.ConnectGroupChan(99, Input);
    Check(False, 'an unknown group is refused');
  except
    on E: EOleException do WriteLn('early: refused: ', E.Message, ' ($', IntToHex(LongWord(E.ErrorCode), 8), ')');
  end;
  Control.Disconnect;
  try
    Control.Identify;
    Check(False, 'identifying needs the connection');
  except
    on E: EOleException do WriteLn('early: refused: ', E.Message, ' ($', IntToHex(LongWord(E.ErrorCode), 8), ')');
  end;
end;

{ A terminal that is opened again at once may lose the end of what it was left with, which spoils the first query. }
procedure ConnectAgain(const Control: IUlixInstr);
var
  Tries: Integer;
begin
  for Tries := 1 to 5 do
  try
    Control.Connect;
    Exit;
  except
    on E: EOleException do if Tries = 5 then raise;
  end;
end;

procedure DriveEarlyBound(Port: Integer);
var
  Control: IUlixInstr;
  Setup: IUlixSetup;
begin
  Control := CoUlixInstrKelvo10Ctl.Create;
  Setup := CoUlixSetup.Create;
  Setup.Attach(Control);
  Setup.Serial['port'] := Port;
  ConnectAgain(Control);
  ScanEarlyBound(Control, Setup);
  KeepConfiguration(Control, Setup, Port);
  ShowErrors(Control);
end;

begin
  try
    DriveLateBound(StrToInt(ParamStr(1)));
    DriveEarlyBound(StrToInt(ParamStr(1)));
    WriteLn(Checks, ' checks');
  except
    on E: Exception do
    begin
      WriteLn(E.ClassName, ': ', E.Message);
      ExitCode := 1;
    end;
  end;
end.
