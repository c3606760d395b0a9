#include "calibration/json_document.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include <nlohmann/json.hpp>

namespace ulix::calibration {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{8} << 20U;
constexpr std::size_t kMaxDepth = 64;

struct Place {
  int line = 1;
  int column = 1;
};

// Iterates over the characters of the text, and so knows the position of the parser.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, std::size_t* taken) : at_(at), taken_(taken) {}
  const char& operator*() const { return *at_; }
  CountingIterator& operator++() {
    ++at_;
    ++*taken_;
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  std::size_t* taken_;
};

// The text for a token that the parser gives by an English name, such as "string literal". A token without such a text,
// such as "'}'", stays as it is.
BilingualText NamedByParser(const std::string& name) {
  constexpr std::array<std::pair<std::string_view, TextId>, 7> kNames = {
      {{"string literal", TextId::kPlanAText},
       {"object key", TextId::kPlanAText},
       {"number literal", TextId::kPlanANumber},
       {"true literal", TextId::kPlanAFlag},
       {"false literal", TextId::kPlanAFlag},
       {"end of input", TextId::kJsonEnd},
       {"'[', '{', or a literal", TextId::kJsonValue}}};
  for (const auto& [known, text] : kNames) {
    if (name == known) return Bilingual(text);
  }
  return name;
}

// The part of a parser's message behind `mark`, up to the next ';'. Empty if the message does not contain the mark.
std::string Behind(const std::string& what, std::string_view mark) {
  const std::size_t at = what.find(mark);
  if (at == what.npos) return {};
  const std::size_t begin = at + mark.size();
  return what.substr(begin, what.find("; ", begin) - begin);
}

// A message of the parser, such as "... syntax error while parsing object - unexpected ']'; expected '}'", in both
// languages.
BilingualText SyntaxMistake(const std::string& what) {
  constexpr std::array<std::pair<std::string_view, TextId>, 3> kTokens = {{{"invalid string", TextId::kJsonBadText},
                                                                           {"invalid number", TextId::kJsonBadNumber},
                                                                           {"invalid literal", TextId::kJsonBadWord}}};
  BilingualText text = Bilingual(TextId::kJsonSyntax);
  for (const auto& [name, mistake] : kTokens) {
    if (what.find(name) != what.npos) return text + Bilingual(mistake);
  }
  const std::string unexpected = Behind(what, "unexpected ");
  const std::string expected = Behind(what, "; expected ");
  if (!unexpected.empty()) text = text + Bilingual(TextId::kJsonUnexpected, {NamedByParser(unexpected)});
  if (!expected.empty()) text = text + Bilingual(TextId::kJsonExpected, {NamedByParser(expected)});
  return text;
}

class TreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
 public:
  TreeBuilder(std::string_view text, const std::size_t& taken) : text_(text), taken_(taken) {}

  bool null() override {
    Insert(Kind::kNull, taken_);
    return true;
  }
  bool boolean(bool value) override {
    Insert(Kind::kFlag, taken_).flag_value = value;
    return true;
  }
  bool number_integer(std::int64_t value) override { return PutNumber(static_cast<double>(value)); }
  bool number_unsigned(std::uint64_t value) override { return PutNumber(static_cast<double>(value)); }
  bool number_float(double value, const std::string&) override { return PutNumber(value); }
  bool string(std::string& value) override {
    Insert(Kind::kText, taken_).text_value = std::move(value);
    return true;
  }
  bool binary(nlohmann::json::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return Open(Kind::kObject); }
  bool start_array(std::size_t) override { return Open(Kind::kArray); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(std::string& value) override {
    key_ = std::move(value);
    key_line_ = PlaceOf(taken_).line;
    return true;
  }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& error) override {
    if (!mistake.message.empty()) return false;
    const Place place = PlaceOf(position > 0 ? position - 1 : 0);
    mistake = {place.line, place.column, SyntaxMistake(error.what())};
    return false;
  }

  JsonNode root;
  JsonMistake mistake;

 private:
  using Kind = JsonNode::Kind;

  // Offsets rarely go back, so each character is counted about once.
  Place PlaceOf(std::size_t offset) {
    offset = std::min(offset, text_.size());
    if (offset < counted_) counted_ = line_start_ = 0, lines_ = 0;
    for (; counted_ < offset; ++counted_) {
      if (text_[counted_] != '\n') continue;
      ++lines_;
      line_start_ = counted_ + 1;
    }
    return {lines_ + 1, static_cast<int>(offset - line_start_) + 1};
  }
  // The parser has already read one character after the number.
  bool PutNumber(double value) {
    const bool line_end = taken_ > 0 && taken_ <= text_.size() && text_[taken_ - 1] == '\n';
    Insert(Kind::kNumber, line_end ? taken_ - 1 : taken_).number_value = value;
    return true;
  }
  // Adds a new node at its place in the tree.
  JsonNode& Insert(Kind kind, std::size_t offset) {
    const bool member = !open_.empty() && open_.back()->object();
    JsonNode& node = open_.empty() ? root : member ? NewMember() : open_.back()->nodes.emplace_back();
    node.kind = kind;
    node.line = member ? key_line_ : PlaceOf(offset).line;
    return node;
  }
  JsonNode& NewMember() {
    JsonNode::Nodes& members = open_.back()->nodes;
    const bool again =
        std::any_of(members.begin(), members.end(), [&](const auto& other) { return other.key == key_; });
    JsonNode& node = members.emplace_back();
    node.key = std::move(key_);
    node.again = again;
    return node;
  }
  bool Open(Kind kind) {
    if (open_.size() >= kMaxDepth) {
      const Place place = PlaceOf(taken_);
      mistake = {place.line, place.column, Bilingual(TextId::kJsonTooDeep, {std::to_string(kMaxDepth)})};
      return false;
    }
    open_.push_back(&Insert(kind, taken_));
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }

  std::string_view text_;
  const std::size_t& taken_;
  std::vector<JsonNode*> open_;  // from the root; a node does not move while a node inside it is open
  std::string key_;
  int key_line_ = 0;
  std::size_t counted_ = 0;     // characters counted so far
  std::size_t line_start_ = 0;  // offset of the start of the present line
  int lines_ = 0;               // complete lines before it
};

}  // namespace

tl::expected<JsonNode, JsonMistake> ParseJson(std::string_view text) {
  if (text.size() > kMaxBytes)
    return tl::unexpected(JsonMistake{0, 0, Bilingual(TextId::kJsonTooLarge, {std::to_string(kMaxBytes >> 20U)})});
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::size_t taken = 0;
  TreeBuilder builder(text, taken);
  const bool whole = nlohmann::json::sax_parse(CountingIterator(text.data(), &taken),
                                               CountingIterator(text.data() + text.size(), &taken), &builder);
  if (!whole) return tl::unexpected(builder.mistake);
  return std::move(builder.root);
}

}  // namespace ulix::calibration
