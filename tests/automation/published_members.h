// The published interface for a program that has only its document: no header and no type library of the server. The
// order of the members is the order of the slots after those of IDispatch.
#pragma once

#include <oaidl.h>
#include <ocidl.h>
#include <windows.h>

namespace published {

inline constexpr GUID kInstr = {0x3DC98EAA, 0x4F18, 0x4807, {0xB2, 0x66, 0x0C, 0x55, 0x54, 0x4D, 0x64, 0xF5}};
inline constexpr GUID kEvents = {0x5AC86136, 0xE359, 0x4D18, {0xA4, 0xB5, 0xED, 0x0D, 0xAE, 0x1C, 0xAD, 0xA1}};
inline constexpr GUID kLibrary = {0xA8DFAD2D, 0xD3C9, 0x46AC, {0xBC, 0xD0, 0x8D, 0x84, 0x5D, 0x45, 0x2C, 0xA9}};

#define PUBLISHED(name, ...) virtual HRESULT STDMETHODCALLTYPE name(__VA_ARGS__) = 0

struct Instr : IDispatch {
  PUBLISHED(Version, BSTR* version);
  PUBLISHED(GetBinVersion, long* high, long* low, int* code);
  PUBLISHED(GetDevVersion, BSTR* version);
  PUBLISHED(GetDevFileVersion, BSTR* version);
  PUBLISHED(Groups, VARIANT* ids);
  PUBLISHED(InChans, long group, VARIANT* ids);
  PUBLISHED(Period, long group, long* milliseconds);
  PUBLISHED(DeadBand, long group, float* percent);
  PUBLISHED(DeadBandAbs, long group, float* band);
  PUBLISHED(DeadTimeMax, long group, long* seconds);
  PUBLISHED(OutChans, VARIANT* ids);
  PUBLISHED(CreateGroup, long* group);
  PUBLISHED(RemoveGroup, long group);
  PUBLISHED(EditGroup, long group, int* button);
  PUBLISHED(EditOutChans, int* button);
  PUBLISHED(EditCommParams, int* button);
  PUBLISHED(Connect);
  PUBLISHED(Disconnect);
  PUBLISHED(IsConnected, long* connected);
  PUBLISHED(Identify, BSTR* identity);
  PUBLISHED(EditCfg, int* button);
  PUBLISHED(SendCfg);
  PUBLISHED(ReadCfg);
  PUBLISHED(GetChanDir, long channel, int* direction);
  PUBLISHED(GetChanName, long channel, BSTR* name);
  PUBLISHED(GetChanUnit, long channel, BSTR* unit);
  PUBLISHED(GetChanResol, long channel, short* decimals);
  PUBLISHED(GetChanLim, long channel, short which, float* limit, short* level);
  PUBLISHED(RunGroup, long group);
  PUBLISHED(StopGroup, long group);
  PUBLISHED(IsGroupRunning, long group, long* running);
  PUBLISHED(RunAllGroups);
  PUBLISHED(StopAllGroups);
  PUBLISHED(GetChansVals, VARIANT ids, VARIANT* values, VARIANT* errors, VARIANT* times);
  PUBLISHED(SetChansVals, VARIANT ids, VARIANT values);
  PUBLISHED(ImmediateReadGroups, VARIANT groups);
  PUBLISHED(GetDevStatus, long* status);
  PUBLISHED(GetErrorText, long code, long wants_short, int* unknown, BSTR* text);
  PUBLISHED(ShowProperties);
  PUBLISHED(InstrType, BSTR* type);
  PUBLISHED(GetChanDefName, long channel, BSTR* name);
  PUBLISHED(UseConnected, long* answer);
  PUBLISHED(HasCommParams, long* answer);
  PUBLISHED(HasCfg, long* answer);
  PUBLISHED(CfgHasInChans, long* answer);
  PUBLISHED(CfgHasOutChans, long* answer);
  PUBLISHED(Run);
  PUBLISHED(Stop);
  PUBLISHED(GetCommInfo, BSTR* info);
  PUBLISHED(CanEditOutChans, long* answer);
  PUBLISHED(SetChanVal, long channel, VARIANT value);
  PUBLISHED(RemoveGroupChan, long group, long channel);
  PUBLISHED(ConnectGroupChan, long group, long channel);
  PUBLISHED(GetCfgText, BSTR* text);
  PUBLISHED(ExplKeyNum, short* number);
  PUBLISHED(MemBlocks, VARIANT* ids);
  PUBLISHED(CfgHasMemBlocks, long* answer);
  PUBLISHED(GetMemBlockStatus, long block, long* size, long* records, long* destructive, long* recording);
  PUBLISHED(ReadMemBlock, long block, long max_records, long clear, VARIANT* ids, VARIANT* values, VARIANT* errors,
            VARIANT* times, long* records);
  PUBLISHED(ClearMemBlock, long block, long records);
  PUBLISHED(GetMemBlockName, long block, BSTR* name);
  PUBLISHED(GetMemBlockSize, long block, long* size);
  PUBLISHED(GetMemBlockCyclePeriod, long block, long* records, long* period);
};

struct Events : IDispatch {
  PUBLISHED(MeasReady, long group);
  PUBLISHED(DataChange, long group, long quantity, VARIANT ids, VARIANT values, VARIANT errors, VARIANT times);
  PUBLISHED(DevStatusChange, long status);
  PUBLISHED(DevError, long code);
  PUBLISHED(SysError, long code);
  PUBLISHED(Progress, short percent);
  PUBLISHED(CfgGroupChange, long group);
};

#undef PUBLISHED

}  // namespace published
