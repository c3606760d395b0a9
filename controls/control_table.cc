#include "controls/control_table.h"

#include <objbase.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/guid.h"

namespace ulix::controls {
namespace {

// Parses an identifier at compile time. A malformed text does not compile.
consteval GUID GuidOf(std::string_view text) {
  const Guid guid = ParseGuid(text).value();
  GUID id{guid.data1, guid.data2, guid.data3, {}};
  std::copy(guid.data4.begin(), guid.data4.end(), id.Data4);
  return id;
}

constexpr std::array kControls = {
#define ULIX_CONTROL(Model, class_id, spec_id, debug_id) \
  ControlRow{#Model, GuidOf(#class_id), GuidOf(#spec_id), GuidOf(#debug_id)},
#include "controls/controls.def"
#undef ULIX_CONTROL
};

}  // namespace

const GUID kSetupClassId = GuidOf("6C1E52E0-9B1B-4B53-8F0B-5B0C2A7D0002");

std::span<const ControlRow> ControlTable() { return kControls; }

const ControlRow* FindControl(REFGUID class_id) {
  const auto row = std::find_if(kControls.begin(), kControls.end(),
                                [&](const ControlRow& r) { return IsEqualGUID(r.class_id, class_id); });
  return row == kControls.end() ? nullptr : &*row;
}

const CatalogueEntry* ModelOf(const ControlRow& row) {
  for (const CatalogueEntry& entry : Catalogue()) {
    if (std::string_view(entry.card->class_name) == row.class_name) return &entry;
  }
  return nullptr;
}

std::wstring WideProgId(std::string_view library_class, bool with_version) {
  const std::string id = ProgId(library_class, with_version);
  return {id.begin(), id.end()};
}

std::wstring GuidText(REFGUID id) {
  std::array<wchar_t, 39> text{};
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return text.data();
}

}  // namespace ulix::controls
