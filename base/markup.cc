#include "base/markup.h"

namespace ulix {
namespace {

std::string_view EntityOf(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const std::string_view entity = EntityOf(c);
    const bool control = static_cast<unsigned char>(c) < 0x20U || c == 0x7F;
    escaped += entity.empty() ? std::string(1, control ? ' ' : c) : std::string(entity);
  }
  return escaped;
}

}  // namespace ulix
