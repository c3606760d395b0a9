// What all controls do, tested on every control that the type library lists.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "tests/automation/type_library.h"

namespace client {
namespace {

struct ClassOfLibrary {
  GUID id;
  std::wstring name;  // "UlixInstrKelvo10Ctl"
};

std::vector<ClassOfLibrary> ControlsOfLibrary() {
  std::vector<ClassOfLibrary> controls;
  ForEachType(TKIND_COCLASS, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (attributes.wTypeFlags & TYPEFLAG_FCONTROL) controls.push_back({attributes.guid, NameOf(info)});
  });
  return controls;
}

// The model's name in a class's name.
std::wstring ModelOf(const ClassOfLibrary& control) {
  constexpr std::size_t kPrefix = 9, kSuffix = 3;  // "UlixInstr", "Ctl"
  return control.name.substr(kPrefix, control.name.size() - kPrefix - kSuffix);
}

ComPtr<IUlixInstr> Make(const ClassOfLibrary& control) {
  const auto made = Create<IUlixInstr>((L"Ulix." + control.name).c_str());
  EXPECT_TRUE(made) << Narrow(control.name);
  return made;
}

// The ports of the instruments, from the environment: "Kelvo10=33,Hart=34".
std::map<std::string, long> PortsOfInstruments() {
  std::map<std::string, long> ports;
  const char* text = std::getenv("ULIX_TEST_PORTS");
  std::string rest = text ? text : "";
  while (!rest.empty()) {
    const std::size_t equals = rest.find('='), comma = rest.find(',');
    ports[rest.substr(0, equals)] = std::atol(rest.c_str() + equals + 1);
    rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
  }
  return ports;
}

TEST(EveryControl, ProgId_CreatesItAndItNamesItsType) {
  const auto controls = ControlsOfLibrary();
  ASSERT_FALSE(controls.empty());
  for (const ClassOfLibrary& control : controls) {
    SCOPED_TRACE(Narrow(control.name));
    GUID id;
    ASSERT_EQ(CLSIDFromProgID((L"Ulix." + control.name + L".1").c_str(), &id), S_OK);
    EXPECT_TRUE(IsEqualGUID(id, control.id));
    const auto instrument = Make(control);
    ASSERT_TRUE(instrument);
    EXPECT_FALSE(TextOf(instrument.Get(), &IUlixInstr::get_InstrType).empty());
    EXPECT_NE(TextOf(instrument.Get(), &IUlixInstr::GetCfgText).find(L"XXXX_A_IMPLANTER"), std::wstring::npos);
    ComPtr<IPersistStreamInit> persist;
    ASSERT_EQ(instrument.As(&persist), S_OK);
    EXPECT_TRUE(IsEqualGUID(ResultOf<CLSID>(persist.Get(), &IPersistStreamInit::GetClassID), control.id));
  }
}

// The part of a control with a name such as "IUlixInstrKelvo10Debug". A query for IDispatch would give the main
// interface.
ComPtr<IDispatch> PartOf(IUlixInstr* instrument, const std::wstring& wanted) {
  ComPtr<IDispatch> part;
  ForEachType(TKIND_DISPATCH, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (NameOf(info) != wanted) return;
    EXPECT_EQ(instrument->QueryInterface(attributes.guid, reinterpret_cast<void**>(part.GetAddressOf())), S_OK);
  });
  return part;
}

TEST(EveryControl, SpecAndDebugInterfaces_ExistAndATestConfigurationSurvivesAStream) {
  for (const ClassOfLibrary& control : ControlsOfLibrary()) {
    SCOPED_TRACE(Narrow(control.name));
    const auto instrument = Make(control), other = Make(control);
    ASSERT_TRUE(instrument && other);
    EXPECT_TRUE(PartOf(instrument.Get(), L"IUlixInstr" + ModelOf(control) + L"Spec"));
    const auto debug = PartOf(instrument.Get(), L"IUlixInstr" + ModelOf(control) + L"Debug");
    ASSERT_TRUE(debug);
    ResultByName(debug.Get(), L"DebugCreateCfgTest", {});

    ComPtr<IStream> stream;
    ComPtr<IPersistStreamInit> persist, loaded;
    instrument.As(&persist);
    other.As(&loaded);
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    ASSERT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    ASSERT_EQ(loaded->Load(stream.Get()), S_OK);
    EXPECT_EQ(ElementsOf<long>(other.Get(), &IUlixInstr::get_Groups), (std::vector<long>{1, 2}));
    EXPECT_EQ(ElementsOf<long>(other.Get(), &IUlixInstr::get_InChans, 2),
              ElementsOf<long>(instrument.Get(), &IUlixInstr::get_InChans, 2));
    EXPECT_EQ(ResultOf<long>(other.Get(), &IUlixInstr::get_Period, 2), 5000);
  }
}

// Every control has texts, short and long, for its own published codes, and none of them is empty.
TEST(EveryControl, PublishedErrorCodes_HaveTexts) {
  std::map<long, std::string> codes;
  ForEachType(TKIND_ENUM, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (NameOf(info) != L"eErrors") return;
    for (UINT k = 0; k < attributes.cVars; ++k) {
      VARDESC* constant = nullptr;
      ASSERT_EQ(info->GetVarDesc(k, &constant), S_OK);
      BSTR name = nullptr;
      UINT count = 0;
      info->GetNames(constant->memid, &name, 1, &count);
      codes[constant->lpvarValue->lVal] = Narrow(Taken(name));
      info->ReleaseVarDesc(constant);
    }
  });
  ASSERT_GT(codes.size(), 20U);
  for (const ClassOfLibrary& control : ControlsOfLibrary()) {
    const auto instrument = Make(control);
    ASSERT_TRUE(instrument);
    int explained = 0;
    for (const auto& [code, name] : codes) {
      for (const long is_short : {0L, 1L}) {
        int unknown = 0;
        BSTR text = nullptr;
        ASSERT_EQ(instrument->GetErrorText(code, is_short, &unknown, &text), S_OK) << name;
        EXPECT_EQ(Taken(text).empty(), unknown != 0) << Narrow(control.name) << ' ' << name;
        explained += unknown == 0;
      }
    }
    EXPECT_GT(explained, 10) << Narrow(control.name);
  }
}

// Scans a control that has inputs. Writes the output of a control that has none.
void Drive(IUlixInstr* instrument, IUlixSetup* setup) {
  int direction = 0;
  ASSERT_EQ(instrument->GetChanDir(0, &direction), S_OK);
  if (direction == ChanOut) {
    EXPECT_EQ(instrument->SetChanVal(0, Variant(25.0)), S_OK) << Narrow(TakeFailure().description);
    return;
  }
  long group = 0;
  ASSERT_EQ(instrument->CreateGroup(&group), S_OK);
  ASSERT_EQ(instrument->ConnectGroupChan(group, 0), S_OK) << Narrow(TakeFailure().description);
  ASSERT_EQ(setup->SetGroup(group, 100, 0, 0, 0), S_OK);
  Sink sink;
  const Advised advised(instrument, sink);
  ASSERT_EQ(instrument->RunGroup(group), S_OK);
  EXPECT_TRUE(sink.Await(2));
  EXPECT_EQ(instrument->StopGroup(group), S_OK);
  for (const Sink::Data& scan : sink.data()) {
    EXPECT_EQ(scan.errors, (std::vector<long>{0}));
    EXPECT_EQ(scan.values[0].vt, VT_R4);
  }
}

TEST(EveryControl, Instrument_IsScannedOrWritten) {
  const auto ports = PortsOfInstruments();
  ASSERT_FALSE(ports.empty());
  for (const ClassOfLibrary& control : ControlsOfLibrary()) {
    const auto port = ports.find(Narrow(ModelOf(control)));
    if (port == ports.end()) continue;
    SCOPED_TRACE(port->first);
    const auto instrument = Make(control);
    const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
    ASSERT_TRUE(instrument && setup);
    ASSERT_EQ(setup->Attach(instrument.Get()), S_OK);
    // A model without a serial link needs no port.
    const HRESULT placed = port->second > 0 ? setup->put_Serial(Text(L"port"), port->second) : S_OK;
    ASSERT_EQ(placed, S_OK);
    ASSERT_EQ(instrument->Connect(), S_OK) << Narrow(TakeFailure().description);
    BSTR text = nullptr;
    const HRESULT identified = instrument->Identify(&text);
    EXPECT_TRUE(identified == S_OK || identified == E_NOTIMPL) << Narrow(TakeFailure().description);
    Taken(text);
    Drive(instrument.Get(), setup.Get());
    EXPECT_EQ(instrument->Disconnect(), S_OK);
  }
}

}  // namespace
}  // namespace client
