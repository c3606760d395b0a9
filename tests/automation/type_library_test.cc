// The type library matches the published interface: every member, argument, enumeration, interface and class.
#include "tests/automation/type_library.h"

#include <gtest/gtest.h>

#include <map>
#include <span>
#include <string_view>

#include "tests/automation/published_interface.h"

namespace client {
namespace {

using published::Constant;
using published::Named;

std::string TypeName(ITypeInfo* info, const TYPEDESC& type) {
  static const std::map<VARTYPE, const char*> kNames = {{VT_I2, "short"},
                                                        {VT_I4, "long"},
                                                        {VT_INT, "int"},
                                                        {VT_R4, "float"},
                                                        {VT_BSTR, "BSTR"},
                                                        {VT_VARIANT, "VARIANT"},
                                                        {VT_DISPATCH, "IDispatch*"},
                                                        {VT_UNKNOWN, "IUnknown*"},
                                                        {VT_HRESULT, "HRESULT"}};
  if (type.vt == VT_PTR) return TypeName(info, *type.lptdesc) + "*";
  const auto found = kNames.find(type.vt);
  return found == kNames.end() ? "type " + std::to_string(type.vt) : found->second;
}

std::string FlagNames(USHORT flags) {
  std::string names;
  if (flags & PARAMFLAG_FIN) names += "in ";
  if (flags & PARAMFLAG_FOUT) names += "out ";
  if (flags & PARAMFLAG_FRETVAL) names += "retval ";
  if (flags & ~(PARAMFLAG_FIN | PARAMFLAG_FOUT | PARAMFLAG_FRETVAL)) names += "other ";
  return names;
}

const char* KindName(INVOKEKIND kind) {
  switch (kind) {
    case INVOKE_PROPERTYGET:
      return "get ";
    case INVOKE_PROPERTYPUT:
      return "put ";
    case INVOKE_PROPERTYPUTREF:
      return "putref ";
    default:
      return "";
  }
}

// The member's name, then those of its arguments.
std::vector<std::string> NamesOf(ITypeInfo* info, MEMBERID id) {
  BSTR texts[16] = {};
  UINT count = 0;
  info->GetNames(id, texts, 16, &count);
  std::vector<std::string> names;
  for (UINT k = 0; k < count; ++k) names.push_back(Narrow(Taken(texts[k])));
  return names;
}

// For example "28 GetChanLim(in long dwIdChan, in short iLim, out float* pfltLim, out retval short* pnLevel)". The
// value written to a property has the name of the value read from it.
std::string Signature(ITypeInfo* info, const FUNCDESC& member) {
  std::vector<std::string> names = NamesOf(info, member.memid);
  names.resize(1 + static_cast<std::size_t>(member.cParams), "value");
  std::string text = std::to_string(member.memid) + " " + KindName(member.invkind) + names[0] + "(";
  for (SHORT k = 0; k < member.cParams; ++k) {
    const ELEMDESC& argument = member.lprgelemdescParam[k];
    if (k > 0) text += ", ";
    text += FlagNames(argument.paramdesc.wParamFlags) + TypeName(info, argument.tdesc) + " " +
            names[static_cast<std::size_t>(k) + 1];
  }
  return text + ")";
}

// The table form of a dual interface, which early-bound hosts call.
ComPtr<ITypeInfo> TableOf(const char* name) {
  ComPtr<ITypeInfo> table;
  ForEachType(TKIND_DISPATCH, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (Narrow(NameOf(info)) != name) return;
    EXPECT_TRUE(attributes.wTypeFlags & TYPEFLAG_FDUAL) << name;
    EXPECT_TRUE(attributes.wTypeFlags & TYPEFLAG_FDISPATCHABLE) << name;
    HREFTYPE reference = 0;
    ASSERT_EQ(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
    ASSERT_EQ(info->GetRefTypeInfo(reference, &table), S_OK);
  });
  return table;
}

// The members of an interface in the order of its table. Expects each to return an HRESULT.
std::vector<std::string> MembersOf(const char* name) {
  constexpr std::size_t kDispatchSlots = 7;
  std::vector<std::string> members;
  const auto table = TableOf(name);
  EXPECT_TRUE(table) << name;
  FUNCDESC* member = nullptr;
  for (UINT k = 0; table && SUCCEEDED(table->GetFuncDesc(k, &member)); ++k) {
    members.push_back(Signature(table.Get(), *member));
    EXPECT_EQ(member->oVft, static_cast<SHORT>((kDispatchSlots + k) * sizeof(void*))) << members.back();
    EXPECT_EQ(member->elemdescFunc.tdesc.vt, VT_HRESULT) << members.back();
    EXPECT_EQ(member->callconv, CC_STDCALL) << members.back();
    EXPECT_EQ(member->wFuncFlags, 0) << members.back();
    table->ReleaseFuncDesc(member);
  }
  return members;
}

template <std::size_t size>
std::vector<std::string> Listed(const char* const (&members)[size]) {
  return {members, members + size};
}

std::string IdOf(TYPEKIND kind, const std::string& name) {
  std::string id = "not there";
  ForEachType(kind, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (Narrow(NameOf(info)) == name) id = TextOf(attributes.guid);
  });
  return id;
}

TEST(TypeLibrary, EveryInterface_HasThePublishedMembers) {
  EXPECT_EQ(MembersOf("IUlixInstr"), Listed(published::kInstrumentMembers));
  EXPECT_EQ(MembersOf("IUlixInstrEvents"), Listed(published::kEventMembers));
  for (const Named& control : published::kControls) {
    const std::string own = std::string("IUlixInstr") + control.name;
    EXPECT_EQ(MembersOf((own + "Debug").c_str()), Listed(published::kDebugMembers));
    const bool takes_object = control.name == std::string_view(published::kSetPointControl);
    EXPECT_EQ(MembersOf((own + "Spec").c_str()),
              takes_object ? Listed(published::kSetPointMembers) : std::vector<std::string>())
        << own;
  }
}

TEST(TypeLibrary, InterfacesAndClasses_HaveThePublishedIds) {
  TLIBATTR* attributes = nullptr;
  const auto library = Library();
  ASSERT_TRUE(library);
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  EXPECT_EQ(TextOf(attributes->guid), published::kLibrary.id);
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  library->ReleaseTLibAttr(attributes);
  BSTR name = nullptr, description = nullptr;
  library->GetDocumentation(-1, &name, &description, nullptr, nullptr);
  EXPECT_EQ(Narrow(Taken(name)), published::kLibrary.name);
  EXPECT_EQ(Taken(description), L"UlixInstrAx 1.0 Type Library");
  for (const Named& row : {published::kInstrument, published::kEvents, published::kReadFile}) {
    EXPECT_EQ(IdOf(TKIND_DISPATCH, row.name), row.id) << row.name;
  }
  for (const Named& control : published::kControls) {
    EXPECT_EQ(IdOf(TKIND_COCLASS, std::string("UlixInstr") + control.name + "Ctl"), control.id) << control.name;
  }
  EXPECT_EQ(IdOf(TKIND_COCLASS, published::kAboutPage.name), published::kAboutPage.id);
}

// The interfaces of a class by name, each with its flags (default, source).
std::map<std::string, int> InterfacesOf(ITypeInfo* coclass, const TYPEATTR& attributes) {
  std::map<std::string, int> interfaces;
  for (UINT k = 0; k < attributes.cImplTypes; ++k) {
    HREFTYPE reference = 0;
    INT flags = 0;
    ComPtr<ITypeInfo> info;
    coclass->GetImplTypeFlags(k, &flags);
    if (SUCCEEDED(coclass->GetRefTypeOfImplType(k, &reference)) && SUCCEEDED(coclass->GetRefTypeInfo(reference, &info)))
      interfaces[Narrow(NameOf(info.Get()))] = flags;
  }
  return interfaces;
}

TEST(TypeLibrary, EveryControlClass_NamesItsInterfacesAndEvents) {
  std::size_t controls = 0;
  ForEachType(TKIND_COCLASS, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (!(attributes.wTypeFlags & TYPEFLAG_FCONTROL)) return;
    ++controls;
    const std::string name = Narrow(NameOf(info)), own = "I" + name.substr(0, name.size() - 3);
    EXPECT_EQ(InterfacesOf(info, attributes),
              (std::map<std::string, int>{{"IUlixInstr", IMPLTYPEFLAG_FDEFAULT},
                                          {own + "Spec", 0},
                                          {own + "Debug", 0},
                                          {"IUlixInstrEvents", IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE}}))
        << name;
  });
  EXPECT_EQ(controls, std::size(published::kControls));
}

std::map<std::string, unsigned> ConstantsOf(const char* enumeration) {
  std::map<std::string, unsigned> constants;
  ForEachType(TKIND_ENUM, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    if (Narrow(NameOf(info)) != enumeration) return;
    for (UINT k = 0; k < attributes.cVars; ++k) {
      VARDESC* constant = nullptr;
      ASSERT_EQ(info->GetVarDesc(k, &constant), S_OK);
      constants[NamesOf(info, constant->memid)[0]] = static_cast<unsigned>(constant->lpvarValue->lVal);
      info->ReleaseVarDesc(constant);
    }
  });
  return constants;
}

std::map<std::string, unsigned> Listed(std::span<const Constant> rows) {
  std::map<std::string, unsigned> constants;
  for (const Constant& row : rows) constants[row.name] = row.value;
  return constants;
}

TEST(TypeLibrary, Enumerations_HaveThePublishedConstants) {
  EXPECT_EQ(ConstantsOf("eChanDir"), Listed(published::kDirections));
  EXPECT_EQ(ConstantsOf("eLimitLevel"), Listed(published::kLimitLevels));
  EXPECT_EQ(ConstantsOf("eErrors"), Listed(published::kErrors));
  int aliases = 0;
  ForEachType(TKIND_ALIAS, [&](ITypeInfo* info, const TYPEATTR& attributes) {
    ++aliases;
    EXPECT_EQ(NameOf(info), L"ErrorConstants");
    ComPtr<ITypeInfo> named;
    ASSERT_EQ(attributes.tdescAlias.vt, VT_USERDEFINED);
    ASSERT_EQ(info->GetRefTypeInfo(attributes.tdescAlias.hreftype, &named), S_OK);
    EXPECT_EQ(NameOf(named.Get()), L"eErrors");
  });
  EXPECT_EQ(aliases, 1);
}

}  // namespace
}  // namespace client
