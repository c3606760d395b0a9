// Fluke Hydra data bucket on a serial line: 21 measured channels, read from the instrument's last scan.
#pragma once

#include <string>
#include <string_view>

#include "drivers/others/flukehydra/protocol.h"
#include "drivers/serial_driver.h"

namespace ulix::flukehydra {

class FlukeHydraDriver final : public SerialDriver {
 public:
  explicit FlukeHydraDriver(DriverServices services);

  Expected<std::string> Identify() override;
  // Channels are set up at the instrument; the record says what was found there, and nothing is sent.
  HRESULT ReadCfg() override;
  // flukehydraCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT Run() override;
  HRESULT Stop() override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

 private:
  struct Answer {
    std::string result;
    std::string prompt;
  };

  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
  void OpenedLate(int attempt) override;
  Expected<Answer> Ask(const std::string& query, const Refusals& refusals);
  // One configuration query's result.
  Expected<std::string> AskConfig(const std::string& query);
  // Sends a command that has no result and looks at its prompt.
  HRESULT Order(std::string_view command);
  HRESULT ReadChannels(std::vector<StoredValue>& record);
  HRESULT ReadShared(std::vector<StoredValue>& record);
};

}  // namespace ulix::flukehydra
