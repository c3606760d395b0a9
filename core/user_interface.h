// The questions that an instrument asks a person. Injected: dialogs on a desktop, a terminal, or nobody.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/file_question.h"

namespace ulix {

class Instrument;

// What a dialog came back with; published values.
enum class DialogResult : int { kOk = 1, kCancel = 2 };

// How far a long operation has come, in the person's words, Windows-1252.
struct ShownProgress {
  int percent = 0;
  std::string title;
  std::string text;
};

// Called on the host's thread with no lock held; each may call the instrument's members.
class UserInterface {
 public:
  virtual ~UserInterface() = default;
  virtual DialogResult EditGroup(Instrument& instrument, std::uint32_t group) = 0;
  virtual DialogResult EditOutChans(Instrument& instrument) = 0;
  virtual DialogResult EditCommParams(Instrument& instrument) = 0;
  virtual DialogResult EditCfg(Instrument& instrument) = 0;
  virtual void ShowProperties(Instrument& instrument) = 0;
  // Something to be told that is no failure; Windows-1252.
  virtual void Warn(Instrument&, const std::string& /*text*/) {}
  // The path that was chosen, in the system's encoding; none when the person gave up, empty where nobody can be asked.
  virtual std::optional<std::string> ChooseFile(const FileQuestion&) { return std::string(); }
  // A long operation has come to `percent`; false asks it to stop.
  virtual bool Progress(int percent) = 0;
  // The same with what the operation says of itself, for those that show it.
  virtual bool ShowProgress(const ShownProgress& step) { return Progress(step.percent); }
};

}  // namespace ulix
