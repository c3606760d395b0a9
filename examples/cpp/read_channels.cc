// Reads every input channel of an instrument once, with the library alone: read_channels MODEL DEVICE, for example
// read_channels kelvo10 /dev/ttyUSB0. Exit status: 0 all were read, 1 the instrument or a channel failed, 2 wrong
// usage.
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "core/instrument.h"
#include "drivers/catalogue.h"

namespace {

int Fail(ulix::Instrument& instrument, ulix::HRESULT code) {
  std::int32_t unknown = 0;
  std::string text;
  instrument.GetErrorText(code, false, &unknown, &text);
  std::fprintf(stderr, "0x%08X %s\n", static_cast<unsigned>(code), ulix::Utf8FromAnsi(text).c_str());
  return 1;
}

std::vector<ulix::ChannelId> InputsOf(ulix::Instrument& instrument) {
  std::vector<ulix::ChannelId> inputs;
  for (ulix::ChannelId id = 0; id < instrument.card().channels.size(); ++id) {
    std::int32_t direction = 0;
    if (instrument.GetChanDir(id, &direction) == ulix::S_OK && direction != ulix::ChanOut) inputs.push_back(id);
  }
  return inputs;
}

// Makes one scan of a group. Its values are available until the next scan.
ulix::HRESULT ReadOnce(ulix::Instrument& instrument, const std::vector<ulix::ChannelId>& ids,
                       ulix::ChannelArrays& read) {
  std::uint32_t group = 0;
  if (const auto result = instrument.CreateGroup(&group); ulix::Failed(result)) return result;
  for (const ulix::ChannelId id : ids) instrument.ConnectGroupChan(group, id);
  if (const auto result = instrument.ImmediateReadGroups({&group, 1}); ulix::Failed(result)) return result;
  return instrument.GetChansVals(ids, &read);
}

}  // namespace

int main(int argc, char** argv) {
  const ulix::CatalogueEntry* model = argc == 3 ? ulix::FindModel(argv[1]) : nullptr;
  if (model == nullptr) return std::fprintf(stderr, "read_channels: takes MODEL and DEVICE\n"), 2;
  ulix::Instrument instrument(model->create({}));
  ulix::SerialParams line;
  instrument.GetSerialParams(&line);
  line.location = argv[2];
  instrument.SetSerialParams(line);
  if (const auto result = instrument.Connect(); ulix::Failed(result)) return Fail(instrument, result);

  ulix::ChannelArrays read;
  const auto result = ReadOnce(instrument, InputsOf(instrument), read);
  if (ulix::Failed(result)) return Fail(instrument, result);
  int status = 0;
  for (std::size_t k = 0; k < read.size(); ++k) {
    std::string name;
    instrument.GetChanName(read.ids[k], &name);
    if (ulix::Failed(read.errors[k])) {
      status = Fail(instrument, read.errors[k]);
    } else {
      std::printf("%s %g\n", ulix::Utf8FromAnsi(name).c_str(), static_cast<double>(read.values[k]));
    }
  }
  return status;
}
