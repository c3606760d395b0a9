// The questions that an instrument asks a person. Injected: dialogs on a desktop, a terminal, or nobody.
#pragma once

#include <cstdint>
#include <memory>
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

// Called on the host's thread with no lock held; each may call the instrument's members. Of itself it asks nobody: it
// cancels, tells nothing, and goes on.
class UserInterface {
 public:
  virtual ~UserInterface() = default;
  virtual DialogResult EditGroup(Instrument&, std::uint32_t /*group*/) { return DialogResult::kCancel; }
  virtual DialogResult EditOutChans(Instrument&) { return DialogResult::kCancel; }
  virtual DialogResult EditCommParams(Instrument&) { return DialogResult::kCancel; }
  virtual DialogResult EditCfg(Instrument&) { return DialogResult::kCancel; }
  virtual void ShowProperties(Instrument&) {}
  // The instrument is waited for, until what is returned is let go.
  virtual std::shared_ptr<void> ShowWait() { return nullptr; }
  // Something to be told that is no failure; Windows-1252.
  virtual void Warn(Instrument&, const std::string& /*text*/) {}
  // The path that was chosen, in the system's encoding; none when the person gave up, empty where nobody can be asked.
  virtual std::optional<std::string> ChooseFile(const FileQuestion&) { return std::string(); }
  // A long operation has come to `percent`; false asks it to stop.
  virtual bool Progress(int /*percent*/) { return true; }
  // The same with what the operation says of itself, for those that show it.
  virtual bool ShowProgress(const ShownProgress& step) { return Progress(step.percent); }
};

}  // namespace ulix
