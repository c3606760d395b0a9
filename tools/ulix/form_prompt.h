// A form asked question by question, for people at a terminal.
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
  // The next line that was typed, in UTF-8; none when the person is gone.
  using ReadLine = std::function<std::optional<std::string>()>;
  enum class Outcome {
    kTaken,      // the form took the entries
    kUnchanged,  // the person went through it and changed nothing
    kLeft,       // the person stopped, or did not want the changes; nothing was given to the form
  };

  // What it writes is at most `width` columns wide, but for long texts.
  FormPrompt(ReadLine read_line, std::ostream& out, Language language, std::size_t width)
      : read_line_(std::move(read_line)), out_(out), language_(language), width_(width) {}

  // Asks every question from its present value on, then whether to apply what changed.
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

  // False when the person left.
  bool Walk(Form& form, std::size_t at);
  Move Ask(Form& form, const Question& question);
  // Puts an entry in its field; the reason when it is refused, which leaves the field as it was.
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
