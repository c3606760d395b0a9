// Any bytes as a configuration stream. The first byte selects the model.
#include <string>
#include <vector>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

// The size of a group's block: five values of four bytes and one channel of one byte, each after its type.
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

void CheckLoad(DriverFactory create, std::string_view bytes) {
  Instrument device(create({}));
  const HRESULT loaded = LoadInto(device, std::string(bytes));
  Require(loaded == S_OK || loaded == E_INVALIDARG, "a stream is taken or refused");
  std::vector<std::uint32_t> groups;
  Require(device.Groups(&groups) == S_OK && groups.size() <= bytes.size() / kGroupBytes, "each group has its bytes");

  const std::string saved = SavedBy(device);
  Instrument other(create({}));
  for (Instrument* again : {&other, &device}) {
    Require(LoadInto(*again, saved) == S_OK, "what was saved loads");
    Require(SavedBy(*again) == saved, "and is saved the same");
  }
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto models = ulix::Catalogue();
  ulix::CheckLoad(models[data[0] % models.size()].create, ulix::TextOfInput(data + 1, size - 1));
  return 0;
}
