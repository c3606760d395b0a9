// The driver of the Fluke Hydra data bucket on a serial line: 21 measured channels, whose values are those of the
// instrument's last scan.
#pragma once

#include <string>
#include <string_view>

#include "drivers/identified_driver.h"
#include "drivers/others/flukehydra/protocol.h"

namespace ulix::flukehydra {

class FlukeHydraDriver final : public IdentifiedDriver {
 public:
  explicit FlukeHydraDriver(const DriverServices& services);

  // Reads the setup of the channels into the record. The channels are set up at the instrument; nothing is sent.
  HRESULT ReadCfg() override;
  // flukehydraCtlErrChNum for an unknown channel.
  Reading ReadChannel(ChannelId id) override;
  HRESULT Run() override;
  HRESULT Stop() override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  struct Answer {
    std::string result;
    std::string prompt;
  };

  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view identification) const override;
  static Expected<Answer> Ask(Conversation& talk, const std::string& query, const Refusals& refusals);
  // Makes one configuration query and returns its result.
  static Expected<std::string> AskConfig(Conversation& talk, const std::string& query);
  // Sends a command that has no result, and checks its prompt.
  static HRESULT SendAndExpectPrompt(Conversation& talk, std::string_view command);
  static HRESULT ReadChannels(Conversation& talk, std::vector<StoredValue>& record);
  static HRESULT ReadShared(Conversation& talk, std::vector<StoredValue>& record);
};

}  // namespace ulix::flukehydra
