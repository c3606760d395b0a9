// The controls of the server, one row each.
#pragma once

#include <guiddef.h>

#include <span>
#include <string>
#include <string_view>

#include "drivers/catalogue.h"

namespace ulix::controls {

struct ControlRow {
  const char* class_name;  // such as "Kelvo10"; as on the model card
  GUID class_id;
  GUID spec_id;   // IUlixInstr<Model>Spec
  GUID debug_id;  // IUlixInstr<Model>Debug
};

std::span<const ControlRow> ControlTable();
// The row of a class; null when the class is not a control of this server.
const ControlRow* FindControl(REFGUID class_id);
// The model of a control.
const CatalogueEntry* ModelOf(const ControlRow& row);

// ProgId for the system, which takes wide characters.
std::wstring WideProgId(std::string_view library_class, bool with_version);

// An identifier as text, such as "{9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21}".
std::wstring GuidText(REFGUID id);

// The class id and the class name of the setup object.
extern const GUID kSetupClassId;
inline constexpr char kSetupClass[] = "UlixSetup";

}  // namespace ulix::controls
