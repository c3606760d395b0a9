// The published interface, used by a program that was written only from its document: members, values, failures, texts,
// classes, and the stored configuration. In 32 and 64 bits.
#include "tests/automation/published_members.h"

#include <oleauto.h>

#include <algorithm>
#include <map>

#include "tests/automation/published_host.h"
#include "tests/automation/published_interface.h"

namespace published {
namespace {

constexpr HRESULT kAny = 1;  // the document does not say what the result is
constexpr WORD kGet = DISPATCH_PROPERTYGET, kCall = DISPATCH_METHOD;

// A member as published. What goes in: g G group 1 and its array; n N the input; o O the output; b block 0; r group 2;
// s the short 0; e a code; l the long 1; V an array of one value; d a value. What comes out in places of the caller's,
// and as result: t text, l long, i int, h short, f float, v variant.
struct Member {
  DISPID id;
  const wchar_t* name;
  WORD kind;
  const char *in, *out, *result;
  HRESULT disconnected, connected;
};

constexpr Member kMembers[] = {
    {1, L"Version", kGet, "", "", "t", S_OK, S_OK},
    {2, L"GetBinVersion", kCall, "", "ll", "i", S_OK, S_OK},
    {3, L"GetDevVersion", kCall, "", "", "t", kAny, kAny},
    {4, L"GetDevFileVersion", kCall, "", "", "t", kAny, kAny},
    {5, L"Groups", kGet, "", "", "v", S_OK, S_OK},
    {6, L"InChans", kGet, "g", "", "v", S_OK, S_OK},
    {7, L"Period", kGet, "g", "", "l", S_OK, S_OK},
    {8, L"DeadBand", kGet, "g", "", "f", S_OK, S_OK},
    {9, L"DeadBandAbs", kGet, "g", "", "f", S_OK, S_OK},
    {10, L"DeadTimeMax", kGet, "g", "", "l", S_OK, S_OK},
    {11, L"OutChans", kGet, "", "", "v", S_OK, S_OK},
    {12, L"CreateGroup", kCall, "", "", "l", S_OK, S_OK},
    {13, L"RemoveGroup", kCall, "r", "", "", S_OK, S_OK},
    {14, L"EditGroup", kCall, "r", "", "i", E_INVALIDARG, E_INVALIDARG},  // a group that was removed: no dialog
    {15, L"EditOutChans", kCall, "", "", "i", kAny, kAny},
    {16, L"EditCommParams", kCall, "", "", "i", kAny, kAny},
    {17, L"Connect", kCall, "", "", "", kUnableToOpen, S_OK},
    {18, L"Disconnect", kCall, "", "", "", S_OK, kAny},
    {19, L"IsConnected", kCall, "", "", "l", S_OK, S_OK},
    {20, L"Identify", kCall, "", "", "t", E_UNEXPECTED, S_OK},
    {21, L"EditCfg", kCall, "", "", "i", kAny, kAny},
    {22, L"SendCfg", kCall, "", "", "", E_UNEXPECTED, S_OK},
    {23, L"ReadCfg", kCall, "", "", "", E_UNEXPECTED, S_OK},
    {24, L"GetChanDir", kCall, "n", "", "i", S_OK, S_OK},
    {25, L"GetChanName", kCall, "n", "", "t", S_OK, S_OK},
    {26, L"GetChanUnit", kCall, "n", "", "t", S_OK, S_OK},
    {27, L"GetChanResol", kCall, "n", "", "h", S_OK, S_OK},
    {28, L"GetChanLim", kCall, "ns", "f", "h", S_OK, S_OK},
    {29, L"RunGroup", kCall, "g", "", "", kAny, S_OK},
    {30, L"StopGroup", kCall, "g", "", "", S_OK, S_OK},
    {31, L"IsGroupRunning", kCall, "g", "", "l", S_OK, S_OK},
    {32, L"RunAllGroups", kCall, "", "", "", kAny, S_OK},
    {33, L"StopAllGroups", kCall, "", "", "", S_OK, S_OK},
    {34, L"GetChansVals", kCall, "N", "vvv", "", E_UNEXPECTED, S_OK},
    {35, L"SetChansVals", kCall, "OV", "", "", E_UNEXPECTED, S_OK},
    {36, L"ImmediateReadGroups", kCall, "G", "", "", E_UNEXPECTED, S_OK},
    {37, L"GetDevStatus", kCall, "", "", "l", kAny, kAny},
    {38, L"GetErrorText", kCall, "el", "i", "t", S_OK, S_OK},
    {39, L"ShowProperties", kCall, "", "", "", kAny, kAny},
    {40, L"InstrType", kGet, "", "", "t", S_OK, S_OK},
    {41, L"GetChanDefName", kCall, "n", "", "t", S_OK, S_OK},
    {42, L"UseConnected", kGet, "", "", "l", S_OK, S_OK},
    {43, L"HasCommParams", kCall, "", "", "l", S_OK, S_OK},
    {44, L"HasCfg", kCall, "", "", "l", S_OK, S_OK},
    {45, L"CfgHasInChans", kCall, "", "", "l", S_OK, S_OK},
    {46, L"CfgHasOutChans", kCall, "", "", "l", S_OK, S_OK},
    {47, L"Run", kCall, "", "", "", E_UNEXPECTED, S_OK},
    {48, L"Stop", kCall, "", "", "", kAny, kAny},
    {49, L"GetCommInfo", kCall, "", "", "t", S_OK, S_OK},
    {50, L"CanEditOutChans", kCall, "", "", "l", S_OK, S_OK},
    {51, L"SetChanVal", kCall, "od", "", "", E_UNEXPECTED, S_OK},
    {52, L"RemoveGroupChan", kCall, "gn", "", "", S_OK, S_OK},
    {53, L"ConnectGroupChan", kCall, "gn", "", "", S_OK, S_OK},
    {54, L"GetCfgText", kCall, "", "", "t", S_OK, S_OK},
    {55, L"ExplKeyNum", kGet, "", "", "h", S_OK, S_OK},
    {56, L"MemBlocks", kGet, "", "", "v", S_OK, S_OK},
    {57, L"CfgHasMemBlocks", kCall, "", "", "l", S_OK, S_OK},
    {58, L"GetMemBlockStatus", kCall, "b", "lll", "l", kAny, kAny},
    {59, L"ReadMemBlock", kCall, "bll", "vvvv", "l", kAny, kAny},
    {60, L"ClearMemBlock", kCall, "bl", "", "", kAny, kAny},
    {61, L"GetMemBlockName", kCall, "b", "", "t", kAny, kAny},
    {62, L"GetMemBlockSize", kCall, "b", "", "l", kAny, kAny},
    {63, L"GetMemBlockCyclePeriod", kCall, "b", "l", "l", kAny, kAny},
};

VARIANT ArgumentIn(char kind) {
  VARIANT argument{};
  argument.vt = VT_I4;
  const std::map<char, long> numbers = {{'g', 1}, {'n', kInput}, {'o', kOutput},         {'b', 0},
                                        {'r', 2}, {'l', 1},      {'e', long(0x80043B03)}};
  const std::map<char, long> arrays = {{'G', 1}, {'N', kInput}, {'O', kOutput}};
  if (const auto found = numbers.find(kind); found != numbers.end()) argument.lVal = found->second;
  if (kind == 's') argument.vt = VT_I2;
  if (kind == 'd') {
    argument.vt = VT_R8;
    argument.dblVal = 1.5;
  }
  if (const auto found = arrays.find(kind); found != arrays.end()) {
    Variant array = IdArray({found->second});
    std::swap(argument, static_cast<VARIANT&>(array));
  }
  if (kind == 'V') {
    argument.vt = VT_ARRAY | VT_VARIANT;
    argument.parray = SafeArrayCreateVector(VT_VARIANT, 0, 1);
    VARIANT value = ArgumentIn('d');
    LONG first = 0;
    SafeArrayPutElement(argument.parray, &first, &value);
  }
  return argument;
}

VARTYPE TypeOf(char out) {
  const std::map<char, VARTYPE> types = {{'t', VT_BSTR}, {'l', VT_I4}, {'i', VT_I4}, {'h', VT_I2}, {'f', VT_R4}};
  const auto found = types.find(out);
  return found == types.end() ? VARTYPE{VT_VARIANT} : found->second;
}

// One late-bound call of a member: its arguments, its outputs, and its result.
class LateCall {
 public:
  explicit LateCall(const Member& member) : member_(member) {
    for (const char* in = member.in; *in; ++in) arguments_.push_back(ArgumentIn(*in));
    const std::size_t outs = std::strlen(member.out);
    kept_.resize(outs);  // all at once, so that the elements do not move later
    for (std::size_t k = 0; k < outs; ++k) {
      VARIANT place{};
      place.vt = static_cast<VARTYPE>(TypeOf(member.out[k]) | VT_BYREF);
      place.byref = TypeOf(member.out[k]) == VT_VARIANT ? static_cast<void*>(&kept_[k]) : &kept_[k].llVal;
      arguments_.push_back(place);
    }
  }
  LateCall(const LateCall&) = delete;
  ~LateCall() {
    for (VARIANT& argument : arguments_) VariantClear(&argument);
    VariantClear(&result);
  }
  HRESULT On(IDispatch* control) {
    std::vector<VARIANT> reversed(arguments_.rbegin(), arguments_.rend());
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    EXCEPINFO exception{};
    const bool gives = *member_.result != 0;
    const HRESULT called = control->Invoke(member_.id, IID_NULL, LOCALE_USER_DEFAULT, member_.kind, &parameters,
                                           gives ? &result : nullptr, &exception, nullptr);
    description = exception.bstrDescription ? client::Taken(exception.bstrDescription) : L"";
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrHelpFile);
    return called == DISP_E_EXCEPTION ? exception.scode : called;
  }
  VARIANT result{};
  std::wstring description;

 private:
  const Member& member_;
  std::vector<VARIANT> arguments_, kept_;
};

// Whether the member opens a window that a person must close.
bool ShowsAWindow(const Member& member) {
  return member.id == 15 || member.id == 16 || member.id == 21 || member.id == 39;
}

// The text that a member has stored in `text`. Passed by reference, because the member is called after the arguments
// are evaluated.
std::wstring TakenText(HRESULT result, BSTR& text) {
  EXPECT_EQ(result, S_OK);
  return client::Taken(text);
}

bool InFrench() { return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_FRENCH; }

class Disconnected : public testing::Test {
 protected:
  void SetUp() override {
    control = Configured(kNoSuchPort, {});
    ASSERT_TRUE(control);
  }
  ComPtr<Instr> control;
};

class Connected : public testing::Test {
 protected:
  void SetUp() override {
    control = ConfiguredOn("ULIX_TEST_LOOPED_PORT", {});
    ASSERT_TRUE(control);
    ASSERT_EQ(control->Connect(), S_OK);
  }
  void TearDown() override {
    if (control) control->Disconnect();
  }
  // The value that the instrument measures after its output was set.
  float Measured() {
    EXPECT_EQ(control->ImmediateReadGroups(IdArray({1})), S_OK);
    return InputOf(control.Get()).value;
  }
  ComPtr<Instr> control;
};

TEST_F(Disconnected, EveryMember_HasItsNumberUnderItsName) {
  for (const Member& member : kMembers) {
    DISPID id = 0;
    auto* name = const_cast<wchar_t*>(member.name);
    EXPECT_EQ(control->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), S_OK) << member.name;
    EXPECT_EQ(id, member.id) << member.name;
  }
}

TEST_F(Disconnected, EveryMember_TakesItsArgumentsByName) {
  for (const Member& member : kMembers) {
    if (ShowsAWindow(member)) continue;
    LateCall call(member);
    const HRESULT result = call.On(control.Get());
    EXPECT_NE(result, DISP_E_BADPARAMCOUNT) << member.name;
    EXPECT_NE(result, DISP_E_TYPEMISMATCH) << member.name;
    if (member.disconnected != kAny) {
      EXPECT_EQ(result, member.disconnected) << member.name;
    }
    if (result == E_UNEXPECTED && member.disconnected == E_UNEXPECTED) {
      EXPECT_EQ(call.description, InFrench() ? L"Communication non ouverte" : L"Communication not opened")
          << member.name;
    }
    control->StopAllGroups();
  }
}

TEST_F(Connected, EveryMember_TakesItsArgumentsByName) {
  for (const Member& member : kMembers) {
    if (ShowsAWindow(member) || member.id == 18) continue;  // the next members need the connection
    LateCall call(member);
    const HRESULT result = call.On(control.Get());
    EXPECT_NE(result, DISP_E_BADPARAMCOUNT) << member.name;
    EXPECT_NE(result, DISP_E_TYPEMISMATCH) << member.name;
    if (member.connected != kAny) {
      EXPECT_EQ(result, member.connected) << member.name;
    }
    control->StopAllGroups();
  }
}

TEST_F(Disconnected, NullOutArgument_IsInvalid) {
  Instr* c = control.Get();
  VARIANT v{}, ids = IdArray({0});
  long l = 0;
  int i = 0;
  const std::pair<const char*, HRESULT> results[] = {
      {"Version", c->Version(nullptr)},
      {"GetBinVersion", c->GetBinVersion(nullptr, &l, &i)},
      {"GetBinVersion low", c->GetBinVersion(&l, nullptr, &i)},
      {"GetBinVersion code", c->GetBinVersion(&l, &l, nullptr)},
      {"Groups", c->Groups(nullptr)},
      {"InChans", c->InChans(1, nullptr)},
      {"Period", c->Period(1, nullptr)},
      {"DeadBand", c->DeadBand(1, nullptr)},
      {"DeadBandAbs", c->DeadBandAbs(1, nullptr)},
      {"DeadTimeMax", c->DeadTimeMax(1, nullptr)},
      {"OutChans", c->OutChans(nullptr)},
      {"CreateGroup", c->CreateGroup(nullptr)},
      {"IsConnected", c->IsConnected(nullptr)},
      {"Identify", c->Identify(nullptr)},
      {"GetChanDir", c->GetChanDir(0, nullptr)},
      {"GetChanName", c->GetChanName(0, nullptr)},
      {"GetChanUnit", c->GetChanUnit(0, nullptr)},
      {"GetChanResol", c->GetChanResol(0, nullptr)},
      {"GetChanLim", c->GetChanLim(0, 0, nullptr, nullptr)},
      {"IsGroupRunning", c->IsGroupRunning(1, nullptr)},
      {"GetChansVals values", c->GetChansVals(ids, nullptr, &v, &v)},
      {"GetChansVals errors", c->GetChansVals(ids, &v, nullptr, &v)},
      {"GetChansVals times", c->GetChansVals(ids, &v, &v, nullptr)},
      {"GetDevStatus", c->GetDevStatus(nullptr)},
      {"GetErrorText unknown", c->GetErrorText(0, 0, nullptr, nullptr)},
      {"InstrType", c->InstrType(nullptr)},
      {"UseConnected", c->UseConnected(nullptr)},
      {"GetCommInfo", c->GetCommInfo(nullptr)},
      {"GetCfgText", c->GetCfgText(nullptr)},
      {"ExplKeyNum", c->ExplKeyNum(nullptr)},
      {"MemBlocks", c->MemBlocks(nullptr)},
  };
  for (const auto& [member, result] : results) EXPECT_EQ(result, E_INVALIDARG) << member;
  Variant groups;
  ASSERT_EQ(c->Groups(&groups), S_OK);
  EXPECT_EQ(Elements<long>(groups), (std::vector<long>{1})) << "nothing was created";
  SafeArrayDestroy(ids.parray);
}

TEST_F(Disconnected, UnknownId_IsInvalidWithErrorInformation) {
  long l = 0;
  float f = 0;
  Variant v;
  Instr* c = control.Get();
  const std::function<HRESULT()> calls[] = {
      [&] { return c->InChans(9, &v); },
      [&] { return c->Period(9, &l); },
      [&] { return c->DeadBand(9, &f); },
      [&] { return c->DeadTimeMax(9, &l); },
      [&] { return c->RemoveGroup(9); },
      [&] { return c->RunGroup(9); },
      [&] { return c->StopGroup(9); },
      [&] { return c->IsGroupRunning(9, &l); },
      [&] { return c->ConnectGroupChan(9, kInput); },
      [&] { return c->ConnectGroupChan(1, kOutput); },
      [&] { return c->ConnectGroupChan(1, 2); },
      [&] { return c->RemoveGroupChan(1, kOutput); },
      [&] { return c->RemoveGroupChan(1, -1); },
  };
  for (const auto& call : calls) {
    const auto row = &call - calls;
    EXPECT_EQ(call(), E_INVALIDARG) << row;
    const client::Failure failure = client::TakeFailure();
    EXPECT_EQ(failure.description, InFrench() ? L"Argument incorrect" : L"Invalid Argument") << row;
    EXPECT_TRUE(IsEqualGUID(failure.interface_id, kInstr)) << row;
  }
  EXPECT_EQ(v.vt, VT_EMPTY);
}

TEST_F(Disconnected, TextsOfTheKelvo10_AreThePublishedOnes) {
  Instr* c = control.Get();
  EXPECT_EQ(client::TextOf(c, &Instr::InstrType), L"Kelvo10");
  EXPECT_EQ(client::TextOf(c, &Instr::GetCfgText), L"KELVO10: XXXX_A_IMPLANTER");
  EXPECT_EQ(client::TextOf(c, &Instr::GetChanName, kInput), L"IN");
  EXPECT_EQ(client::TextOf(c, &Instr::GetChanDefName, kOutput), L"OUT");
  EXPECT_EQ(client::TextOf(c, &Instr::GetChanUnit, kInput), L"V");
  EXPECT_EQ(client::TextOf(c, &Instr::GetChanUnit, 77), L"");
}

TEST_F(Disconnected, ChannelsOfTheKelvo10_AreThePublishedOnes) {
  Instr* c = control.Get();
  EXPECT_EQ(client::ResultOf<short>(c, &Instr::GetChanResol, kInput), 3);
  EXPECT_EQ(client::ResultOf<short>(c, &Instr::GetChanResol, 77), 6);
  short level = 9;
  float limit = 9;
  EXPECT_EQ(c->GetChanLim(kInput, 3, &limit, &level), S_OK);
  EXPECT_EQ(std::pair(limit, level), std::pair(0.0F, short{0}));
  EXPECT_EQ(client::ResultOf<int>(c, &Instr::GetChanDir, kInput), -1);
  EXPECT_EQ(client::ResultOf<int>(c, &Instr::GetChanDir, kOutput), 1);
  EXPECT_EQ(client::ElementsOf<long>(c, &Instr::OutChans), (std::vector<long>{kOutput}));
}

TEST_F(Disconnected, ConstantsOfTheKelvo10_AreThePublishedOnes) {
  Instr* c = control.Get();
  EXPECT_EQ(client::ResultOf<short>(c, &Instr::ExplKeyNum), 17);
  EXPECT_EQ(client::ResultOf<long>(c, &Instr::UseConnected), 0);
  EXPECT_EQ(client::ResultOf<long>(c, &Instr::CfgHasMemBlocks), 0);
  const auto blocks = client::ResultOf<Variant>(c, &Instr::MemBlocks);
  EXPECT_EQ(blocks.vt, VT_ARRAY | VT_I4);
  EXPECT_TRUE(Elements<long>(blocks).empty());
}

TEST_F(Disconnected, CommInfo_IsThePublishedText) {
  BSTR text = nullptr;
  Bytes bytes = Saved(control.Get());
  PutPort(bytes, 1, 9600);
  ASSERT_EQ(Load(control.Get(), bytes), S_OK);
  if (!InFrench()) {
    EXPECT_EQ(TakenText(control->GetCommInfo(&text), text),
              L"COM 1:CMX310 (9600 bds , 8 Data Bits , 1 Stop Bits , Parity Ignore , No Flow Control)");
  }
}

TEST_F(Disconnected, ErrorTexts_AreThePublishedOnes) {
  const struct {
    HRESULT code;
    long wants_short;
    int unknown;
    const wchar_t *english, *french;
  } rows[] = {
      {kNotKelvo10, 0, 0, L"Device connected is not a KELVO10", L"L'appareil connect\u00E9 n'est pas un KELVO10"},
      {HRESULT(0x80043B01), 0, 0, L"Too old KELVO10 Version", L"Version trop ancienne du KELVO10"},
      {HRESULT(0x80043B03), 1, 0, L"RGE_NOT_SUPP", L"RGE_NOT_SUPP"},
      {HRESULT(0x80043A05), 0, 1, L"", L""},
      {HRESULT(0x80043900), 0, 1, L"", L""},
      {HRESULT(0x80043B04), 0, 1, L"", L""},
      {kUnableToOpen, 1, 0, L"UNABLE_TO_OPEN_COMM", L"UNABLE_TO_OPEN_COMM"},
      {RPC_E_SERVERFAULT, 0, 0, L"Unable to read answer", L"Impossible de lire la r\u00E9ponse"},
      {RPC_E_SERVERFAULT, 1, 0, L"UNABLE_TO_READ_COMM", L"UNABLE_TO_READ_COMM"},
  };
  for (const auto& row : rows) {
    int unknown = 9;
    BSTR text = nullptr;
    EXPECT_EQ(TakenText(control->GetErrorText(row.code, row.wants_short, &unknown, &text), text),
              InFrench() ? row.french : row.english);
    EXPECT_EQ(unknown, row.unknown);
  }
}

TEST_F(Disconnected, Arguments_AreCheckedBeforeTheConnection) {
  Variant texts, v;
  texts.vt = VT_ARRAY | VT_VARIANT;
  texts.parray = SafeArrayCreateVector(VT_VARIANT, 0, 1);
  LONG first = 0;
  Variant text(L"1");
  SafeArrayPutElement(texts.parray, &first, &text);
  EXPECT_EQ(control->SetChansVals(IdArray({kOutput}), texts), E_INVALIDARG);
  EXPECT_EQ(control->SetChanVal(kOutput, text), E_INVALIDARG);
  EXPECT_EQ(control->GetChansVals(texts, &v, &v, &v), E_INVALIDARG);
  EXPECT_EQ(control->ImmediateReadGroups(texts), E_INVALIDARG);
}

TEST_F(Disconnected, GroupIds_AreGivenOnceUntilNoneIsLeft) {
  EXPECT_EQ(control->RemoveGroup(1), S_OK);
  const auto second = client::ResultOf<long>(control.Get(), &Instr::CreateGroup);
  EXPECT_EQ(second, 2) << "not the removed one's";
  EXPECT_EQ(control->RemoveGroup(second), S_OK);
  Bytes bytes = Saved(control.Get());
  const ULONG highest = 0xFFFFFFFD;
  std::memcpy(&bytes.at(layout::kGroups + 2), &highest, sizeof highest);
  ASSERT_EQ(Load(control.Get(), bytes), S_OK);
  EXPECT_EQ(static_cast<ULONG>(client::ResultOf<long>(control.Get(), &Instr::CreateGroup)), 0xFFFFFFFEU);
  for (int k = 0; k < 2; ++k) {
    long group = 0;
    EXPECT_EQ(control->CreateGroup(&group), E_UNEXPECTED);
    EXPECT_EQ(client::TakeFailure().description,
              InFrench() ? L"ID de groupe non disponible" : L"Group ID not available");
  }
  EXPECT_EQ(client::ElementsOf<long>(control.Get(), &Instr::Groups).size(), 1U);
}

TEST(Connecting, OtherInstrument_IsRefusedAndTheLinkClosed) {
  const auto control = ConfiguredOn("ULIX_TEST_OTHER_PORT", {});
  ASSERT_TRUE(control);
  EXPECT_EQ(control->Connect(), kNotKelvo10);
  EXPECT_EQ(client::TakeFailure().description,
            InFrench() ? L"L'appareil connect\u00E9 n'est pas un KELVO10" : L"Device connected is not a KELVO10");
  long connected = 9;
  EXPECT_EQ(control->IsConnected(&connected), S_OK);
  EXPECT_EQ(connected, 0);
  EXPECT_EQ(control->Disconnect(), S_OK);
}

TEST_F(Connected, Identity_IsTheInstrumentsReply) {
  BSTR text = nullptr;
  EXPECT_NE(TakenText(control->Identify(&text), text).find(L"KELVO10"), std::wstring::npos);
  EXPECT_EQ(control->Connect(), S_OK) << "once more";
  long connected = 0;
  EXPECT_EQ(control->IsConnected(&connected), S_OK);
  EXPECT_NE(connected, 0);
  for (int k = 0; k < 2; ++k) EXPECT_EQ(control->Disconnect(), S_OK);
  EXPECT_EQ(control->Identify(&text), E_UNEXPECTED);
  EXPECT_EQ(text, nullptr);
}

TEST_F(Connected, Records_BeginAtZeroInExactArrays) {
  Variant values, errors, times;
  ASSERT_EQ(control->GetChansVals(IdArray({kOutput, kInput, kInput}), &values, &errors, &times), S_OK);
  EXPECT_EQ((std::vector{values.vt, errors.vt, times.vt}), (std::vector<VARTYPE>{0x200C, 0x2003, 0x2007}));
  EXPECT_EQ(Elements<DATE>(times), (std::vector<DATE>{0, 0, 0}));
  EXPECT_EQ(Elements<long>(errors), (std::vector<long>{0, 0, 0}));
  LONG lower = 9;
  EXPECT_EQ(SafeArrayGetLBound(values.parray, 1, &lower), S_OK);
  EXPECT_EQ(lower, 0);
  Variant other, other_errors, other_times;
  EXPECT_EQ(control->GetChansVals(values, &other, &other_errors, &other_times), E_INVALIDARG);
  EXPECT_EQ(control->GetChansVals(IdArray({kInput, 7}), &other, &other_errors, &other_times), E_INVALIDARG);
  EXPECT_EQ(other.vt, VT_EMPTY);
}

TEST_F(Connected, EveryKindOfNumber_IsAValue) {
  float set = 2;
  const auto expect_set = [&](const VARIANT& value, float expected) {
    EXPECT_EQ(control->SetChanVal(kOutput, value), S_OK) << "type " << value.vt;
    EXPECT_EQ(Measured(), expected) << "type " << value.vt;
  };
  for (VARTYPE type :
       {VT_I1, VT_I2, VT_I4, VT_I8, VT_INT, VT_UI1, VT_UI2, VT_UI4, VT_UI8, VT_UINT, VT_R4, VT_R8, VT_CY, VT_DECIMAL}) {
    Variant number(static_cast<double>(++set)), converted;
    ASSERT_EQ(VariantChangeType(&converted, &number, 0, type), S_OK) << type;
    expect_set(converted, set);
  }
  double referenced = 41.5;
  VARIANT inner{}, reference{}, nested{};
  reference.vt = VT_R8 | VT_BYREF;
  reference.pdblVal = &referenced;
  expect_set(reference, 41.5F);
  inner.vt = VT_I2;
  inner.iVal = 42;
  nested.vt = VT_VARIANT | VT_BYREF;
  nested.pvarVal = &inner;
  expect_set(nested, 42);
}

TEST_F(Connected, VariantThatIsNoNumber_IsRefusedAndNotSent) {
  ASSERT_EQ(control->SetChanVal(kOutput, Variant(5.0)), S_OK);
  Variant date(1.0), null, infinite(1e308 * 10), no_number(0.0);
  date.vt = VT_DATE;
  null.vt = VT_NULL;
  no_number.dblVal = -(infinite.dblVal - infinite.dblVal);
  const Variant array = IdArray({1});
  for (const VARIANT* value :
       {static_cast<const VARIANT*>(&date), static_cast<const VARIANT*>(&null), static_cast<const VARIANT*>(&infinite),
        static_cast<const VARIANT*>(&no_number), static_cast<const VARIANT*>(&array)}) {
    EXPECT_EQ(control->SetChanVal(kOutput, *value), E_INVALIDARG) << "type " << value->vt;
  }
  EXPECT_EQ(control->SetChanVal(kOutput, Variant(L"6")), E_INVALIDARG);
  EXPECT_EQ(control->SetChanVal(kOutput, Variant()), E_INVALIDARG);
  EXPECT_EQ(control->SetChanVal(2, Variant(6.0)), E_INVALIDARG);
  EXPECT_EQ(Measured(), 5);
}

TEST_F(Connected, ConfigurationOutOfItsTable_IsNotSent) {
  Bytes bytes = Saved(control.Get());
  ASSERT_EQ(control->Disconnect(), S_OK);
  constexpr std::size_t kInputFunction = 14;
  bytes.at(kInputFunction) = 13;  // one more than the twelve functions
  ASSERT_EQ(Load(control.Get(), bytes), S_OK);
  ASSERT_EQ(control->Connect(), S_OK);
  EXPECT_EQ(control->SendCfg(), HRESULT(0x80043B03));
  EXPECT_EQ(client::TakeFailure().description, InFrench() ? L"Calibre non support\u00E9" : L"Range not supported");
}

struct PublishedClass {
  std::wstring model, class_id;
};

std::vector<PublishedClass> PublishedClasses() {
  std::vector<PublishedClass> rows;
  for (const auto& [name, id] : client::published::kControls) {
    const std::string text(id);
    rows.push_back({{name, name + std::strlen(name)}, L"{" + std::wstring(text.begin(), text.end()) + L"}"});
  }
  return rows;
}

TEST(Classes, EveryClass_IsRegisteredAsAControl) {
  for (const PublishedClass& row : PublishedClasses()) {
    GUID expected, found;
    ASSERT_EQ(CLSIDFromString(row.class_id.c_str(), &expected), S_OK);
    for (const wchar_t* version : {L"", L".1"}) {
      const std::wstring prog_id = L"Ulix.UlixInstr" + row.model + L"Ctl" + version;
      ASSERT_EQ(CLSIDFromProgID(prog_id.c_str(), &found), S_OK) << prog_id;
      EXPECT_TRUE(IsEqualGUID(found, expected)) << prog_id;
    }
    const auto value = [&](const wchar_t* key, const wchar_t* name) {
      wchar_t text[MAX_PATH] = L"(none)";
      DWORD size = sizeof text;
      const std::wstring path = L"CLSID\\" + row.class_id + key;
      RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
      return std::wstring(text);
    };
    EXPECT_EQ(value(L"\\InprocServer32", L"ThreadingModel"), L"Apartment") << row.model;
    EXPECT_EQ(value(L"\\MiscStatus\\1", nullptr), L"131473") << row.model;
    EXPECT_TRUE(value(L"\\ToolboxBitmap32", nullptr).ends_with(L"102")) << row.model;
    for (const wchar_t* mark : {L"\\Control", L"\\Insertable"}) {
      HKEY key = nullptr;
      const std::wstring path = L"CLSID\\" + row.class_id + mark;
      EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key), ERROR_SUCCESS) << path;
      RegCloseKey(key);
    }
  }
}

TEST(Classes, EveryClass_NamesItsInterfaces) {
  for (const PublishedClass& row : PublishedClasses()) {
    const auto control = NewControl((L"Ulix.UlixInstr" + row.model + L"Ctl.1").c_str());
    ASSERT_TRUE(control) << row.model;
    const auto classes = Query<IProvideClassInfo2>(control.Get(), IID_IProvideClassInfo2);
    ASSERT_TRUE(classes) << row.model;
    GUID source, expected;
    EXPECT_EQ(classes->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &source), S_OK);
    EXPECT_TRUE(IsEqualGUID(source, kEvents)) << row.model;
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(classes->GetClassInfo(&info), S_OK) << row.model;
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    CLSIDFromString(row.class_id.c_str(), &expected);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    EXPECT_TRUE(IsEqualGUID(attributes->guid, expected)) << row.model;
    info->ReleaseTypeAttr(attributes);
    const auto reports = Query<ISupportErrorInfo>(control.Get(), IID_ISupportErrorInfo);
    ASSERT_TRUE(reports) << row.model;
    EXPECT_EQ(reports->InterfaceSupportsErrorInfo(kInstr), S_OK) << row.model;
  }
}

TEST(TypeLibrary, EveryType_HasItsPublishedName) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadRegTypeLib(kLibrary, 1, 0, LOCALE_NEUTRAL, &library), S_OK);
  for (const wchar_t* type : {L"ErrorConstants", L"eChanDir", L"eLimitLevel", L"IUlixInstr", L"IUlixInstrEvents",
                              L"IUlixInstrReadFile", L"IUlixInstrKelvo10Spec", L"IUlixInstrKelvo10Debug"}) {
    ComPtr<ITypeInfo> info;
    MEMBERID member = 0;
    USHORT found = 1;
    auto* name = const_cast<wchar_t*>(type);
    EXPECT_EQ(library->FindName(name, 0, info.GetAddressOf(), &member, &found), S_OK);
    EXPECT_EQ(found, 1) << type;
  }
}

}  // namespace
}  // namespace published
