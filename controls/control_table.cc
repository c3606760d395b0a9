#include "controls/control_table.h"

#include <objbase.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace ulix::controls {
namespace {

constexpr unsigned HexDigit(char c) { return static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10); }

constexpr unsigned long Hex(std::string_view digits) {
  unsigned long value = 0;
  for (const char c : digits) value = value << 4 | HexDigit(c);
  return value;
}

// "9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21".
constexpr GUID GuidOf(std::string_view text) {
  GUID id{static_cast<unsigned long>(Hex(text.substr(0, 8))),
          static_cast<unsigned short>(Hex(text.substr(9, 4))),
          static_cast<unsigned short>(Hex(text.substr(14, 4))),
          {}};
  for (std::size_t i = 0; i < 8; ++i) {
    id.Data4[i] = static_cast<unsigned char>(Hex(text.substr(i < 2 ? 19 + 2 * i : 20 + 2 * i, 2)));
  }
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
    if (std::string_view(entry.card->class_name) == row.class_word) return &entry;
  }
  return nullptr;
}

std::wstring ProgIdOf(const ControlRow& row, bool with_version) {
  const std::string word(row.class_word);
  return L"Ulix.UlixInstr" + std::wstring(word.begin(), word.end()) + (with_version ? L"Ctl.1" : L"Ctl");
}

std::wstring GuidText(REFGUID id) {
  std::array<wchar_t, 39> text{};
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return text.data();
}

}  // namespace ulix::controls
