#include "tools/ulix/form_prompt.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "forms/entries.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/output.h"
#include "tools/ulix/question.h"

namespace ulix::cli {

struct FormPrompt::MoveWord {
  const char* typed;
  Move move;
};

namespace {

// The choice that an entry means, by its text or by its number in the list.
std::optional<std::size_t> ChoiceEntered(const Field& field, const std::string& entry) {
  Field asked = field;
  asked.value = entry;
  if (const auto by_word = ChoiceOf(asked)) return by_word;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(entry.data(), entry.data() + entry.size(), number);
  const bool listed = error == std::errc() && end == entry.data() + entry.size() && number >= 1;
  return listed && number <= field.choices.size() ? std::optional(number - 1) : std::nullopt;
}

std::string LabelOf(const Field& field) {
  const std::string label = Shown(field.label);
  return field.unit.empty() ? label : label + " (" + Shown(field.unit) + ")";
}

}  // namespace

const FormPrompt::Move* FormPrompt::FindMove(const std::string& entry) {
  static constexpr std::array kMoves = {MoveWord{"<", Move::kBack}, MoveWord{">", Move::kNextPage},
                                        MoveWord{">>", Move::kEnd}, MoveWord{"!", Move::kLeave}};
  const auto found =
      std::find_if(kMoves.begin(), kMoves.end(), [&](const MoveWord& word) { return entry == word.typed; });
  return found == kMoves.end() ? nullptr : &found->move;
}

std::vector<FormPrompt::Question> FormPrompt::QuestionsOf(const Form& form) {
  std::vector<Question> questions;
  for (std::size_t page = 0; page < form.pages.size(); ++page) {
    for (std::size_t field = 0; field < form.pages[page].fields.size(); ++field) {
      if (form.pages[page].fields[field].kind != FieldKind::kShown) questions.push_back({page, field});
    }
  }
  return questions;
}

Field& FormPrompt::FieldOf(Form& form, const Question& question) {
  return form.pages[question.page].fields[question.field];
}

std::size_t FormPrompt::PlaceOf(const Refusal& refusal) const {
  const auto found = std::find_if(questions_.begin(), questions_.end(), [&](const Question& question) {
    return question.page == refusal.page && question.field == refusal.field;
  });
  return found == questions_.end() ? 0 : static_cast<std::size_t>(found - questions_.begin());
}

std::size_t FormPrompt::Moved(std::size_t at, Move move) const {
  if (move == Move::kBack) return at == 0 ? 0 : at - 1;
  if (move == Move::kEnd) return questions_.size();
  const std::size_t page = questions_[at].page;
  do {
    ++at;
  } while (move == Move::kNextPage && at < questions_.size() && questions_[at].page == page);
  return at;
}

void FormPrompt::Introduce(const Form& form) {
  out_ << Bold(Shown(form.title)) << '\n';
  for (const TextId word : {TextId::kPromptKeys, TextId::kPromptStop}) {
    for (const std::string& line : Wrapped(Say(word), width_)) out_ << line << '\n';
  }
}

void FormPrompt::ShowPage(const Form& form, std::size_t page) {
  const std::string title = Shown(form.pages[page].title);
  const auto number = [](std::size_t value) { return std::to_string(value); };
  const std::size_t count = questions_.back().page + 1;
  out_ << '\n' << Bold(Say(TextId::kPageOf, {title, number(page + 1), number(count)})) << '\n';
  for (const Field& field : form.pages[page].fields) {
    if (field.kind == FieldKind::kShown) out_ << LabelOf(field) << ": " << Shown(field.value) << '\n';
  }
}

// Shows the choices in columns, with numbers when a number selects the choice.
void FormPrompt::ShowChoices(const Field& field) {
  std::vector<std::string> cells;
  std::size_t widest = 0;
  for (const std::string& choice : field.choices) {
    const bool numbered = field.kind == FieldKind::kChoice;
    const std::string number = numbered ? std::to_string(cells.size() + 1) + ") " : "";
    cells.push_back(number + Shown(choice));
    widest = std::max(widest, DisplayWidth(cells.back()));
  }
  constexpr std::size_t kIndent = 2;
  const std::size_t columns = std::max<std::size_t>(1, (width_ - std::min(width_, kIndent)) / (widest + 2));
  for (std::size_t k = 0; k < cells.size(); ++k) {
    const bool last = k + 1 == cells.size() || (k + 1) % columns == 0;
    out_ << (k % columns == 0 ? std::string(kIndent, ' ') : "") << (last ? cells[k] : PaddedTo(cells[k], widest + 2));
    if (last) out_ << '\n';
  }
}

void FormPrompt::Help(const Field& field) {
  switch (field.kind) {
    case FieldKind::kChoice:
      out_ << Say(TextId::kTakesChoice) << '\n';
      break;
    case FieldKind::kOpenList:
      out_ << Say(TextId::kTakesOpenList) << '\n';
      break;
    case FieldKind::kNumber:
      out_ << Say(TextId::kTakesNumber, {ulix::ShownNumber(-12.5)}) << '\n';
      break;
    case FieldKind::kCheckBox:
      out_ << Say(TextId::kTakesCheckBox) << '\n';
      break;
    case FieldKind::kText:
    case FieldKind::kFile:
    case FieldKind::kShown:
      out_ << Say(TextId::kTakesText) << '\n';
  }
  ShowChoices(field);
}

std::string FormPrompt::Present(const Field& field) const {
  if (field.kind == FieldKind::kCheckBox) return Say(field.value.empty() ? TextId::kNo : TextId::kYes);
  return Shown(field.value);
}

bool FormPrompt::ShowChanges(const Form& before, const Form& form) {
  bool any = false;
  for (const Question& question : questions_) {
    const Page& page = form.pages[question.page];
    const Field& field = page.fields[question.field];
    const Field& old = before.pages[question.page].fields[question.field];
    if (field.value == old.value) continue;
    if (!any) out_ << '\n' << Bold(Say(TextId::kWhatChanges)) << '\n';
    any = true;
    out_ << "  " << Shown(page.title) << ", " << LabelOf(field) << ": [" << Present(old) << "] -> [" << Present(field)
         << "]\n";
  }
  if (!any) out_ << Say(TextId::kNothingChanges) << '\n';
  return any;
}

FormPrompt::Outcome FormPrompt::Run(Form& form) {
  const Form before = form;
  questions_ = QuestionsOf(form);
  Introduce(form);
  for (std::size_t at = 0;;) {
    if (!Walk(form, at)) return Outcome::kLeft;
    if (!ShowChanges(before, form)) return Outcome::kUnchanged;
    const Move answer = Confirm();
    if (answer == Move::kLeave) return Outcome::kLeft;
    at = questions_.size() - 1;
    if (answer == Move::kBack) continue;
    const auto refusal = form.apply(form);
    if (!refusal) return Outcome::kTaken;
    out_ << Shown(refusal->reason) << '\n';
    at = PlaceOf(*refusal);
  }
}

bool FormPrompt::Walk(Form& form, std::size_t at) {
  std::optional<std::size_t> page;
  while (at < questions_.size()) {
    if (page != questions_[at].page) ShowPage(form, questions_[at].page);
    page = questions_[at].page;
    const Move move = Ask(form, questions_[at]);
    if (move == Move::kLeave) return false;
    at = Moved(at, move);
  }
  return true;
}

FormPrompt::Move FormPrompt::Ask(Form& form, const Question& question) {
  const Field& field = FieldOf(form, question);
  ShowChoices(field);
  for (;;) {
    out_ << LabelOf(field) << " [" << Present(field) << "]: " << std::flush;
    const auto line = read_line_();
    if (!line) return Move::kLeave;
    const std::string entry(Trimmed(*line));
    if (entry.empty()) return Move::kNext;
    if (const Move* move = FindMove(entry)) return *move;
    if (entry == "?") {
      Help(field);
      continue;
    }
    const auto text = LibraryText(entry);
    const std::string reason = text ? Shown(Enter(form, question, *text)) : Say(TextId::kTakesLibraryText);
    if (reason.empty()) return Move::kNext;
    out_ << reason << '\n';
  }
}

std::string FormPrompt::Enter(Form& form, const Question& question, const std::string& entry) {
  Field& field = FieldOf(form, question);
  const std::string before = field.value;
  field.value = entry;
  if (field.kind == FieldKind::kChoice) {
    if (const auto choice = ChoiceEntered(field, entry)) field.value = field.choices[*choice];
  }
  const bool text = field.kind == FieldKind::kText || field.kind == FieldKind::kFile;
  if (text && entry == "-") field.value.clear();
  if (field.kind == FieldKind::kCheckBox) {
    const auto ticked = YesOrNoIn(entry);
    field.value = ticked.value_or(!before.empty()) ? "1" : "";
    return ticked ? std::string() : AnsiFromUtf8(Say(TextId::kTakesCheckBox));
  }
  std::string reason = Objection(form, question);
  if (!reason.empty()) field.value = before;
  if (reason.empty() && form.adapt) form.adapt(form);
  return reason;
}

// The refusal of this field, if any. Refusals of other fields are shown when all have been asked.
std::string FormPrompt::Objection(const Form& form, const Question& question) const {
  const Field& field = form.pages[question.page].fields[question.field];
  if (field.kind == FieldKind::kChoice && !ChoiceOf(field)) return Localized(TextId::kNotAChoice, language_);
  if (field.kind == FieldKind::kNumber && !EnteredNumber(field.value)) return Localized(TextId::kNotANumber, language_);
  const auto refusal = form.check ? form.check(form) : std::nullopt;
  const bool ours = refusal && refusal->page == question.page && refusal->field == question.field;
  return ours ? refusal->reason : std::string();
}

// Asks whether to apply the changes. kNext means yes.
FormPrompt::Move FormPrompt::Confirm() {
  for (;;) {
    out_ << Say(TextId::kApplyThis) << " [" << Say(TextId::kTakesYesOrNo) << "]: " << std::flush;
    const auto line = read_line_();
    if (!line) return Move::kLeave;
    const std::string entry(Trimmed(*line));
    const Move* move = FindMove(entry);
    if (move && (*move == Move::kBack || *move == Move::kLeave)) return *move;
    if (const auto answer = YesOrNoIn(entry)) return *answer ? Move::kNext : Move::kLeave;
    out_ << Say(TextId::kTakesCheckBox) << '\n';
  }
}

}  // namespace ulix::cli
