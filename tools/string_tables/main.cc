// Prints the string tables of the component server as a resource script. The texts are those of the library.
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "drivers/catalogue.h"
#include "links/network_errors.h"
#include "links/serial_errors.h"
#include "links/usb_errors.h"
#include "resources/texts.h"

namespace ulix {
namespace {

using Table = std::map<int, std::string>;  // number of the string and its text in Windows-1252

struct Tables {
  Table english;
  Table french;
  Table neutral;  // the short texts; not in the same block of sixteen as localised strings, which they would hide
};

void Add(Tables& tables, int id, const LocalizedText& words) {
  tables.english[id] = words.In(Language::kEnglish);
  tables.french[id] = words.In(Language::kFrench);
}

void Add(Tables& tables, std::span<const ErrorRow> rows) {
  for (const ErrorRow& row : rows) {
    Add(tables, row.long_id, row.long_text);
    tables.neutral[row.short_id] = row.short_text;
  }
}

Tables AllTables() {
  Tables tables;
  for (const TextRow& row : AllTexts()) {
    if (row.string_number != 0) Add(tables, row.string_number, row.text);
  }
  Add(tables, SerialErrorTexts());
  Add(tables, NetworkErrorTexts());
  Add(tables, UsbErrorTexts());
  for (const CatalogueEntry& entry : Catalogue()) {
    Add(tables, entry.card->display_name_id, entry.card->display_name);
    Add(tables, entry.card->errors);
  }
  return tables;
}

std::string Quoted(const std::string& ansi) {
  std::string quoted;
  for (const char16_t unit : Utf16FromAnsi(ansi)) {
    char text[8];
    if (unit == u'"') {
      quoted += "\"\"";
    } else if (unit == u'\\') {
      quoted += "\\\\";
    } else if (unit == u'\n') {
      quoted += "\\n";
    } else if (unit < 0x80) {
      quoted += static_cast<char>(unit);
    } else {
      std::snprintf(text, sizeof(text), "\\x%04X", static_cast<unsigned>(unit));
      quoted += text;
    }
  }
  return quoted;
}

void Print(const char* language, const Table& table) {
  std::printf("LANGUAGE %s\nSTRINGTABLE\nBEGIN\n", language);
  for (const auto& [id, text] : table) std::printf("  %d, L\"%s\"\n", id, Quoted(text).c_str());
  std::printf("END\n");
}

// The first block of sixteen that contains both neutral and localised strings; -1 when there is none.
int MixedBlock(const Tables& tables) {
  for (const auto& [id, text] : tables.neutral) {
    const auto next = tables.english.lower_bound(id / 16 * 16);
    if (next != tables.english.end() && next->first / 16 == id / 16) return id / 16;
  }
  return -1;
}

}  // namespace
}  // namespace ulix

int main() {
  const ulix::Tables tables = ulix::AllTables();
  if (const int block = ulix::MixedBlock(tables); block >= 0) {
    std::fprintf(stderr, "string_tables: strings %d to %d are neutral and localised\n", block * 16, block * 16 + 15);
    return 1;
  }
  ulix::Print("0x09, 0x01", tables.english);
  ulix::Print("0x0C, 0x01", tables.french);
  ulix::Print("0x00, 0x00", tables.neutral);
}
