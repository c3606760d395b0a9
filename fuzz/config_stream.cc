// Configurations of a Kelvo10, loaded from any bytes.
#include <string>
#include <vector>

#include "core/instrument.h"
#include "drivers/calibrators/kelvo10/driver.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

// A group's block on the stream: five values of four bytes and one channel of one byte, each behind its type.
constexpr std::size_t kGroupBytes = 5 * (2 + 4) + (2 + 1);

std::string SavedBy(Instrument& device) {
  MemoryStream stream;
  Require(device.Save(stream) == S_OK, "whatever was loaded can be saved");
  return stream.bytes();
}

HRESULT LoadInto(Instrument& device, std::string bytes) {
  MemoryStream stream(std::move(bytes));
  return device.Load(stream);
}

void CheckLoad(std::string_view bytes) {
  Instrument device(kelvo10::Create({}));
  const HRESULT loaded = LoadInto(device, std::string(bytes));
  Require(loaded == S_OK || loaded == E_INVALIDARG, "a stream is taken or refused");
  std::vector<std::uint32_t> groups;
  Require(device.Groups(&groups) == S_OK && groups.size() <= bytes.size() / kGroupBytes, "each group has its bytes");

  const std::string saved = SavedBy(device);
  Instrument other(kelvo10::Create({}));
  for (Instrument* again : {&other, &device}) {
    Require(LoadInto(*again, saved) == S_OK, "what was saved loads");
    Require(SavedBy(*again) == saved, "and is saved the same");
  }
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulix::CheckLoad(ulix::TextOfInput(data, size));
  return 0;
}
