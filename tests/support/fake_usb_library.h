// A device behind a real helper library that the test has loaded. It answers as the test sets it and records every
// call.
#pragma once

#include <algorithm>
#include <deque>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "links/usb_library.h"
#include "platform/shared_library.h"

namespace ulix {

// The folder of a helper library of the tests: "whole", or "lacks-<entry>" for each entry.
inline std::filesystem::path TestUsbFolder(const std::string& which) {
  return platform::OwnModuleFolder().value() / "usb" / which;
}

class FakeUsbLibrary final : public UsbLibrary {
 public:
  FakeUsbLibrary() : forwarder_(LoadForwarder()) { Forward(this); }
  ~FakeUsbLibrary() override { Forward(nullptr); }

  // Loads the library file, as a control does.
  UsbLibraryLoader Loader() {
    return [this] {
      ++loads;
      return LoadUsbLibrary(TestUsbFolder("whole"));
    };
  }

  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }
  // Takes all that was written, as one text.
  std::string TakeWritten() { return std::exchange(written, {}); }

  int loads = 0;
  std::vector<std::string> calls;  // such as "Connect", "Write *CLS", "SetTimeout 3 5000"
  std::string written;
  std::map<std::string, HRESULT> failing;      // By call, or by its first word.
  std::map<std::string, std::string> answers;  // By command; neither has its line feed.
  std::string line_end = "\n";                 // End of each answer.
  std::deque<std::string> received;            // Blocks that the next reads give.
  std::uint32_t count = 0xFFFFFFFF;            // Count reported for a write; all ones: its length.
  std::uint32_t oversize = 0;                  // Added to the count reported for a read.
  UsbIdentity found{{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, 0x0483, 0x5740};
  UsbDevice seen;  // The record given to the first call of a connection.

  HRESULT GetInterfaceGuid(UsbDevice& device) override {
    seen = device;
    device.identity = found;
    return Note("GetInterfaceGuid");
  }
  HRESULT Connect(UsbDevice& device) override {
    device.library.fill(0xEE);  // A library may use this part for itself.
    return Note("Connect");
  }
  HRESULT Write(UsbDevice&, const char* text, std::uint32_t& sent) override {
    if (sent != 0) return E_INVALIDARG;
    written += text;
    const std::string command(text, std::min(std::string(text).find('\n'), std::string(text).size()));
    const HRESULT result = Note("Write " + command);
    const auto answer = answers.find(command);
    if (Succeeded(result) && answer != answers.end()) received.push_back(answer->second + line_end);
    sent = count == 0xFFFFFFFF ? static_cast<std::uint32_t>(std::string(text).size()) : count;
    return result;
  }
  HRESULT Read(UsbDevice&, char* buffer, std::uint32_t& size) override {
    const HRESULT result = Note("Read " + std::to_string(size));
    if (Failed(result) || received.empty()) return Failed(result) ? result : E_FAIL;
    std::string& block = received.front();
    size = static_cast<std::uint32_t>(block.copy(buffer, size)) + oversize;
    block.erase(0, size);
    if (block.empty()) received.pop_front();
    return S_OK;
  }
  HRESULT SetTimeout(UsbDevice&, std::uint32_t directions, std::uint32_t milliseconds) override {
    return Note("SetTimeout " + std::to_string(directions) + " " + std::to_string(milliseconds));
  }
  HRESULT Flush(UsbDevice&) override { return Note("Flush"); }
  HRESULT Disconnect(UsbDevice&) override { return Note("Disconnect"); }

 private:
  static std::unique_ptr<platform::SharedLibrary> LoadForwarder() {
    const auto file = TestUsbFolder("whole") / platform::SharedLibraryFile("UlixWinUsb");
    return std::move(platform::LoadSharedLibrary(file).value());
  }
  void Forward(UsbLibrary* library) {
    const auto forward = forwarder_->Find("ForwardUsbTo").value();
    reinterpret_cast<void (*)(UsbLibrary*)>(forward)(library);
  }
  HRESULT Note(const std::string& call) {
    calls.push_back(call);
    for (const std::string& name : {call, call.substr(0, call.find(' '))}) {
      if (failing.contains(name)) return failing[name];
    }
    return S_OK;
  }

  std::unique_ptr<platform::SharedLibrary> forwarder_;
};

}  // namespace ulix
