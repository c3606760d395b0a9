// The dialogs of an instrument. An implementation shows them in windows, on a terminal, or not at all.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/file_question.h"

namespace ulix {

class Instrument;

// The result of a dialog; published values.
enum class DialogResult : int { kOk = 1, kCancel = 2 };

// A step of a long operation. Texts are Windows-1252, in the user's language.
struct ShownProgress {
  int percent = 0;  // 0 to 100.
  std::string title;
  std::string text;
};

// The members are called on the thread of the host's call, with no lock held. They may call the instrument's members.
// They must not throw. The defaults ask nobody: dialogs are cancelled, warnings are dropped, long operations go on.
class UserInterface {
 public:
  virtual ~UserInterface() = default;
  // The dialogs of the members with the same names (core/instrument.h). kOk: the entries have been set.
  virtual DialogResult EditGroup(Instrument&, std::uint32_t /*group*/) { return DialogResult::kCancel; }
  virtual DialogResult EditOutChans(Instrument&) { return DialogResult::kCancel; }
  virtual DialogResult EditCommParams(Instrument&) { return DialogResult::kCancel; }
  virtual DialogResult EditCfg(Instrument&) { return DialogResult::kCancel; }
  // Shows what the instrument is and its settings.
  virtual void ShowProperties(Instrument&) {}
  // Shows that the program waits for the instrument, until the returned object is destroyed. May return null.
  virtual std::shared_ptr<void> ShowWait() { return nullptr; }
  // Shows a warning, which is not a failure. The text is Windows-1252.
  virtual void Warn(Instrument&, const std::string& /*text*/) {}
  // Asks for a file. Gives its path in Windows-1252: none when the user cancels, empty when nobody can be asked.
  virtual std::optional<std::string> ChooseFile(const FileQuestion&) { return std::string(); }
  // A long operation has come to `percent`, 0 to 100. False asks it to stop.
  virtual bool Progress(int /*percent*/) { return true; }
  // Like Progress, with the title and text of the operation, for a user interface that shows them. The operations call
  // this member.
  virtual bool ShowProgress(const ShownProgress& step) { return Progress(step.percent); }
};

}  // namespace ulix
