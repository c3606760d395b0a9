// The published interface that the type library must have. The source is the published description, not the library's
// own sources. A change here breaks every host.
#pragma once

namespace client::published {

// A member: "id kind Name(flags type name, ...)". The kind of a property is `get` to read it and `put` to write it.
inline constexpr const char* kInstrumentMembers[] = {
    "1 get Version(out retval BSTR* pbstrVersion)",
    "2 GetBinVersion(out long* pdwVersionMS, out long* pdwVersionLS, out retval int* pnErrCode)",
    "3 GetDevVersion(out retval BSTR* pbstrVersion)",
    "4 GetDevFileVersion(out retval BSTR* pbstrVersion)",
    "5 get Groups(out retval VARIANT* pvIdGroups)",
    "6 get InChans(in long dwIdGroup, out retval VARIANT* pvIdChans)",
    "7 get Period(in long dwIdGroup, out retval long* pdwPeriod)",
    "8 get DeadBand(in long dwIdGroup, out retval float* pfltDeadBand)",
    "9 get DeadBandAbs(in long dwIdGroup, out retval float* pfltDeadBandAbs)",
    "10 get DeadTimeMax(in long dwIdGroup, out retval long* pdwTime)",
    "11 get OutChans(out retval VARIANT* pvIdChans)",
    "12 CreateGroup(out retval long* pdwIdGroup)",
    "13 RemoveGroup(in long dwIdGroup)",
    "14 EditGroup(in long dwIdGroup, out retval int* pnRet)",
    "15 EditOutChans(out retval int* pnRet)",
    "16 EditCommParams(out retval int* pnRet)",
    "17 Connect()",
    "18 Disconnect()",
    "19 IsConnected(out retval long* pbConnected)",
    "20 Identify(out retval BSTR* pbstrIdn)",
    "21 EditCfg(out retval int* pnRet)",
    "22 SendCfg()",
    "23 ReadCfg()",
    "24 GetChanDir(in long dwIdChan, out retval int* pnDir)",
    "25 GetChanName(in long dwIdChan, out retval BSTR* pbstrName)",
    "26 GetChanUnit(in long dwIdChan, out retval BSTR* pbstrUnit)",
    "27 GetChanResol(in long dwIdChan, out retval short* pnResol)",
    "28 GetChanLim(in long dwIdChan, in short iLim, out float* pfltLim, out retval short* pnLevel)",
    "29 RunGroup(in long dwIdGroup)",
    "30 StopGroup(in long dwIdGroup)",
    "31 IsGroupRunning(in long dwIdGroup, out retval long* pbRunning)",
    "32 RunAllGroups()",
    "33 StopAllGroups()",
    "34 GetChansVals(in VARIANT adwIdChans, out VARIANT* avValues, out VARIANT* adwErrors, out VARIANT* aTimeStamps)",
    "35 SetChansVals(in VARIANT adwIdChans, in VARIANT avValues)",
    "36 ImmediateReadGroups(in VARIANT adwIdGroups)",
    "37 GetDevStatus(out retval long* pdwStatus)",
    "38 GetErrorText(in long dwError, in long bShort, out int* pbUnknown, out retval BSTR* pbstrTxt)",
    "39 ShowProperties()",
    "40 get InstrType(out retval BSTR* pbstrType)",
    "41 GetChanDefName(in long dwIdChan, out retval BSTR* pbstrName)",
    "42 get UseConnected(out retval long* pUseConnected)",
    "43 HasCommParams(out retval long* pbHasCommParams)",
    "44 HasCfg(out retval long* pbHasCfg)",
    "45 CfgHasInChans(out retval long* pbCfgHasInChans)",
    "46 CfgHasOutChans(out retval long* pbCfgHasOutChans)",
    "47 Run()",
    "48 Stop()",
    "49 GetCommInfo(out retval BSTR* pbstrInfo)",
    "50 CanEditOutChans(out retval long* pbCanEditOutChans)",
    "51 SetChanVal(in long dwIdChan, in VARIANT vValue)",
    "52 RemoveGroupChan(in long dwIdGroup, in long dwIdChan)",
    "53 ConnectGroupChan(in long dwIdGroup, in long dwIdChan)",
    "54 GetCfgText(out retval BSTR* pbstrTxt)",
    "55 get ExplKeyNum(out retval short* pnExplKeyNum)",
    "56 get MemBlocks(out retval VARIANT* pvIdMemBlocks)",
    "57 CfgHasMemBlocks(out retval long* pbCfgHasMemBlocks)",
    "58 GetMemBlockStatus(in long dwIdBlock, out long* pdwSize, out long* pdwNumRecs, out long* "
    "pbDestructiveReading, out retval long* pbRecording)",
    "59 ReadMemBlock(in long dwIdBlock, in long dwNumRecsToReadMax, in long bClearRecs, out VARIANT* adwIdChans, out "
    "VARIANT* avValues, out VARIANT* adwErrors, out VARIANT* aTimeStamps, out retval long* pdwNumRecsRead)",
    "60 ClearMemBlock(in long dwIdBlock, in long dwNumRecs)",
    "61 GetMemBlockName(in long dwIdBlock, out retval BSTR* pbstrName)",
    "62 GetMemBlockSize(in long dwIdBlock, out retval long* pdwSize)",
    "63 GetMemBlockCyclePeriod(in long dwIdBlock, out long* pdwCycleNumRecs, out retval long* pdwCyclePeriod)",
};

inline constexpr const char* kEventMembers[] = {
    "1 MeasReady(in long dwIdGroup)",
    "2 DataChange(in long dwIdGroup, in long wChansQty, in VARIANT adwIdChans, in VARIANT avValues, in VARIANT "
    "adwErrors, in VARIANT aTimeStamps)",
    "3 DevStatusChange(in long dwStatus)",
    "4 DevError(in long dwError)",
    "5 SysError(in long dwError)",
    "6 Progress(in short byPercentDone)",
    "7 CfgGroupChange(in long dwIdGroup)",
};

inline constexpr const char* kDebugMembers[] = {"1 DebugCreateCfgTest()"};

// The Spec interfaces are empty, except that of the control that can forward its set points to an object of the host.
inline constexpr const char* kSetPointControl = "Isotech";
inline constexpr const char* kSetPointMembers[] = {"1 get SetPointObject(out retval IDispatch** ppObject)",
                                                   "1 put SetPointObject(in IDispatch* ppObject)",
                                                   "1 putref SetPointObject(in IDispatch* ppObject)"};

struct Named {
  const char* name;
  const char* id;
};
inline constexpr Named kLibrary = {"UlixInstrAx", "A8DFAD2D-D3C9-46AC-BCD0-8D845D452CA9"};
inline constexpr Named kInstrument = {"IUlixInstr", "3DC98EAA-4F18-4807-B266-0C55544D64F5"};
inline constexpr Named kEvents = {"IUlixInstrEvents", "5AC86136-E359-4D18-A4B5-ED0DAE1CADA1"};
inline constexpr Named kReadFile = {"IUlixInstrReadFile", "DA58B7C1-26DF-4AA3-AC6C-42CB88801448"};

// The model's name in the names of a control's class and interfaces, and the id of its class.
inline constexpr Named kControls[] = {
    {"Kelvo10", "9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21"},    {"Cmx310", "F6F598BF-BF86-44C9-B06F-11CA446F1A05"},
    {"Isotech", "8C2E028B-889B-4E70-BD36-67867563094F"},    {"Microk", "C907E9AB-E202-4E18-B2D1-7F151F5DA718"},
    {"FlukeHydra", "7008DADB-D917-4420-BC0C-3CC2E95F3558"}, {"JofraRtcPtc", "867B12DD-0351-4DB7-AC78-74736A196683"},
    {"Kambic", "6517B728-343F-4F99-A26D-18D06086BD7D"},     {"Hart", "9BB2AFD5-020B-4C42-8543-883FFAB71638"},
    {"Adt760", "F06E89B5-6258-4CE7-83AA-248D25DEBF60"},     {"Adt761", "EDD30DB0-4277-4018-B1B3-BCA25153A527"},
    {"Memolog", "51B3DEA3-CFFC-4AD5-A435-80E13EC21D29"},
};
inline constexpr Named kAboutPage = {"AboutPage", "9861775B-4481-4564-846C-B11A70FB73E4"};

struct Constant {
  const char* name;
  unsigned value;
};
inline constexpr Constant kDirections[] = {{"ChanIn", 0xFFFFFFFF}, {"ChanIO", 0}, {"ChanOut", 1}};
inline constexpr Constant kLimitLevels[] = {{"LimitLow", 0xFFFFFFFF}, {"LimitNo", 0}, {"LimitHigh", 1}};
inline constexpr Constant kErrors[] = {
    {"memologErrExceptionCode", 0x80041C00},
    {"memologCtlErrNotMemolog", 0x80041D00},
    {"memologCtlErrHigherMemologVerRequired", 0x80041D01},
    {"memologCtlErrHigherMemologCtlVerRequired", 0x80041D02},
    {"memologCtlErrMbusFct", 0x80041D03},
    {"memologCtlErrMbusAddr", 0x80041D04},
    {"memologCtlErrMbusData", 0x80041D05},
    {"memologCtlErrOpenFile", 0x80041D06},
    {"memologCtlErrInvalidProgFile", 0x80041D07},
    {"memologCtlErrChNum", 0x80041D08},
    {"memologCtlErrMemLocked", 0x80041D09},
    {"qa20CtlErrMemLocked", 0x80041F0B},
    {"qa32CtlErrMemLocked", 0x8004210B},
    {"trxErrExceptionCode", 0x80042400},
    {"isotechErrExceptionCode", 0x80043400},
    {"isotechCtlErrNotIsotech", 0x80043500},
    {"isotechCtlErrNack", 0x80043501},
    {"isotechCtlErrOutOfRange", 0x80043502},
    {"cmx310ErrExceptionCode", 0x80043800},
    {"cmx310CtlErrNotCmx310", 0x80043900},
    {"cmx310CtlErrHigherCmx310VerRequired", 0x80043901},
    {"cmx310CtlErrHigherCmx310CtlVerRequired", 0x80043902},
    {"cmx310CtlErrRgeNotSupported", 0x80043903},
    {"kelvo10ErrExceptionCode", 0x80043A00},
    {"kelvo10CtlErrNotKelvo10", 0x80043B00},
    {"kelvo10CtlErrHigherKelvo10VerRequired", 0x80043B01},
    {"kelvo10CtlErrHigherKelvo10CtlVerRequired", 0x80043B02},
    {"kelvo10CtlErrRgeNotSupported", 0x80043B03},
    {"serialCommErrUnableToOpenComm", 0x80044400},
    {"serialCommErrCommClosed", 0x80044401},
    {"serialCommErrUnableToWriteComm", 0x80044402},
    {"serialCommErrUnableToReadComm", 0x80044403},
    {"hartErrExceptionCode", 0x80044A00},
    {"hartCtlErrNotHart", 0x80044B00},
    {"hartCtlErrNack", 0x80044B01},
    {"hartCtlErrOutOfRange", 0x80044B02},
    {"hartCtlErrChNum", 0x80044B03},
    {"microkErrExceptionCode", 0x80045600},
    {"microkCtlErrNotMicrok", 0x80045700},
    {"microkCtlErrHigherMicrokVerRequired", 0x80045701},
    {"microkCtlErrMeasureNotAvailable", 0x80045702},
    {"microkCtlErrNotMillik", 0x80045703},
    {"microkCtlErrMeasureTimeout", 0x80045704},
    {"microkCtlErrChannelNotEnabled", 0x80045705},
    {"microkCtlErrUserProbeNotFound", 0x80045706},
    {"microkCtlErrScpiCmdeError", 0x80045707},
    {"microkCtlErrBadInternalChanConfig", 0x80045708},
    {"jofrartcptcErrExceptionCode", 0x80045A00},
    {"jofrartcptcCtlErrNotJofraRtcPtc", 0x80045B00},
    {"jofrartcptcCtlErrNack", 0x80045B01},
    {"jofrartcptcCtlErrOutOfRange", 0x80045B02},
    {"jofrartcptcCtlErrChNum", 0x80045B03},
    {"jofrartcptcCtlErrNoMeasAvailable", 0x80045B04},
    {"jofrartcptcCtlErrNotJofraCtc", 0x80045B05},
    {"flukehydraErrExceptionCode", 0x80045C00},
    {"flukehydraCtlErrNotFlukeHydra", 0x80045D00},
    {"flukehydraCtlErrNack", 0x80045D01},
    {"flukehydraCtlErrOutOfRange", 0x80045D02},
    {"flukehydraCtlErrChNum", 0x80045D03},
    {"flukehydraCtlErrNoMeasAvailable", 0x80045D04},
    {"flukehydraCtlErrCmdSyntaxError", 0x80045D05},
    {"flukehydraCtlErrCmdExecError", 0x80045D06},
    {"flukehydraCtlErrOtc", 0x80045D07},
    {"madgetechCtlWarningNoAcqRunmode", 0x80055F00},
    {"kambicErrExceptionCode", 0x80046000},
    {"kambicCtlErrNotKambic", 0x80046100},
    {"kambicCtlErrOutOfRange", 0x80046101},
    {"kambicCtlErrChNum", 0x80046102},
    {"kambicCtlErrBadCmde", 0x80046103},
    {"kambicCtlErrBadResp", 0x80046104},
    {"adt760ErrExceptionCode", 0x80046200},
    {"adt760CtlErrNotAdt760", 0x80046300},
    {"adt760CtlErrOutOfRange", 0x80046301},
    {"adt760CtlErrChNum", 0x80046302},
    {"adt760CtlErrNoMeasAvailable", 0x80046303},
    {"adt760CtlErrScpiCmde", 0x80046304},
    {"adt761ErrExceptionCode", 0x80046400},
    {"adt761CtlErrNotAdt761", 0x80046500},
    {"adt761CtlErrNack", 0x80046501},
    {"adt761CtlErrOutOfRange", 0x80046502},
    {"adt761CtlErrChNum", 0x80046503},
    {"adt761CtlErrNoMeasAvailable", 0x80046504},
    {"adt761CtlErrWinUsbNotLoaded", 0x80046505},
    {"winUsbCommErrUnableToOpenComm", 0x80046600},
    {"winUsbCommErrCommClosed", 0x80046601},
    {"winUsbCommErrUnableToWriteComm", 0x80046602},
    {"winUsbCommErrUnableToReadComm", 0x80046603},
    {"winUsbCommErrUnableToFlushComm", 0x80046604},
    {"winUsbCommErrBadIdentifier", 0x80046605},
    {"winUsbCommErrUnableToSetupComm", 0x80046606},
    {"winUsbCommErrGuidNotFound", 0x80046607},
    {"networkCommErrUnableToConnect", 0x80046B00},
    {"networkCommErrConnexClosed", 0x80046B01},
    {"networkCommErrUnableToWriteComm", 0x80046B02},
    {"networkCommErrUnableToReadComm", 0x80046B03},
};

}  // namespace client::published
