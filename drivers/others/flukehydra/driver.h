// Fluke Hydra data bucket on a serial line: 21 measured channels, read from the instrument's last scan.
#pragma once

#include <string>
#include <string_view>

#include "drivers/identified_driver.h"
#include "drivers/others/flukehydra/protocol.h"

namespace ulix::flukehydra {

class FlukeHydraDriver final : public IdentifiedDriver {
 public:
  explicit FlukeHydraDriver(const DriverServices& services);

  // Channels are set up at the instrument; the record says what was found there, and nothing is sent.
  HRESULT ReadCfg() override;
  // flukehydraCtlErrChNum for a channel that is none.
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
  // One configuration query's result.
  static Expected<std::string> AskConfig(Conversation& talk, const std::string& query);
  // Sends a command that has no result and looks at its prompt.
  static HRESULT SendAndExpectPrompt(Conversation& talk, std::string_view command);
  static HRESULT ReadChannels(Conversation& talk, std::vector<StoredValue>& record);
  static HRESULT ReadShared(Conversation& talk, std::vector<StoredValue>& record);
};

}  // namespace ulix::flukehydra
