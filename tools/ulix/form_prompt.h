// Asks the fields of a form one by one at a terminal.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "forms/form.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

class FormPrompt {
 public:
  // Gives the next typed line in UTF-8; none at the end of the input.
  using ReadLine = std::function<std::optional<std::string>()>;
  enum class Outcome {
    kTaken,      // The entries were applied.
    kUnchanged,  // The user changed nothing.
    kLeft,       // The user stopped or rejected the changes; nothing was applied.
  };

  // The output is at most `width` columns wide, except long texts.
  FormPrompt(ReadLine read_line, std::ostream& out, Language language, std::size_t width)
      : read_line_(std::move(read_line)), out_(out), language_(language), width_(width) {}

  // Asks every field, with its present value as default, then whether to apply the changes.
  Outcome Run(Form& form);

 private:
  struct Question {
    std::size_t page = 0;
    std::size_t field = 0;
  };
  enum class Move { kNext, kBack, kNextPage, kEnd, kLeave };
  struct MoveWord;

  std::string Say(TextId text, std::initializer_list<std::string> values = {}) const {
    return Shown(text, language_, values);
  }
  static const Move* FindMove(const std::string& entry);
  static std::vector<Question> QuestionsOf(const Form& form);
  static Field& FieldOf(Form& form, const Question& question);
  std::size_t PlaceOf(const Refusal& refusal) const;
  std::size_t Moved(std::size_t at, Move move) const;

  void Introduce(const Form& form);
  void ShowPage(const Form& form, std::size_t page);
  void ShowChoices(const Field& field);
  void Help(const Field& field);
  std::string Present(const Field& field) const;
  bool ShowChanges(const Form& before, const Form& form);

  // False when the user stopped.
  bool Walk(Form& form, std::size_t at);
  Move Ask(Form& form, const Question& question);
  // Puts an entry into its field. Gives the reason of a refusal, which leaves the field unchanged; else an empty text.
  std::string Enter(Form& form, const Question& question, const std::string& entry);
  std::string Objection(const Form& form, const Question& question) const;
  Move Confirm();

  ReadLine read_line_;
  std::ostream& out_;
  Language language_;
  std::size_t width_;
  std::vector<Question> questions_;
};

}  // namespace ulix::cli
