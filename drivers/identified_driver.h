// A driver whose instrument says what it is. The same question starts a session, shows after a reconnection that the
// instrument is still the one of Connect, and brings a line in sync again, since its reply cannot be another's.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"

namespace ulix {

// How an instrument is asked what it is. The texts outlive the driver.
struct IdentityQuery {
  std::string_view query;    // empty: the host does not want to know which instrument it is
  ReplyPlan reply;           // how its reply is read
  HRESULT other_instrument;  // the code for another model, and for another instrument than the one of Connect
  // How the reply begins: another reply that stopped midway may stand before it. Empty where that is not known.
  std::string_view start = {};
  // The identification in a reply; null: all of the reply. A reply without one is the link's code for an unread reply.
  Conversation::TextPart text = nullptr;
  int trailing_lines = 0;           // as SyncQuery::trailing_lines
  std::string_view alternate = {};  // as SyncQuery::alternate
};

class IdentifiedDriver : public Driver {
 public:
  using Driver::Driver;

  // Asks the instrument, in an exchange of its own.
  Expected<std::string> Identify() override;

 protected:
  // As the record is set.
  virtual IdentityQuery identity_query() const = 0;
  // Whether an identification is one of this model.
  virtual bool IsModel(std::string_view identification) const = 0;

  Expected<bool> StartSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;

  // Asks, checks the model, and admits the instrument. `other_instrument` for another model, or another instrument than
  // the one of Connect.
  Expected<std::string> CheckIdentity(Conversation& talk);
};

}  // namespace ulix
