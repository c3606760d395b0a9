// The base of drivers whose instrument can identify itself. The identification query has three uses. It starts a
// session. After a reconnection it shows whether the instrument is still the one of Connect. It is the sync query,
// because no other reply looks like an identification.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"

namespace ulix {

// The identification query. Its texts must outlive the driver.
struct IdentityQuery {
  std::string_view query;    // empty: the settings switch identification off
  ReplyPlan reply;           // how its reply is read
  HRESULT other_instrument;  // the code for another model, or another instrument than at Connect
  // The start of the identification. Another reply that stopped midway may precede it in the line. Empty if the start
  // is not known.
  std::string_view start = {};
  // Finds the identification in a reply. Null: it is the whole reply. A reply without one gives the link's code for an
  // unread reply.
  Conversation::TextPart text = nullptr;
  int trailing_lines = 0;           // see SyncQuery::trailing_lines
  std::string_view alternate = {};  // see SyncQuery::alternate
};

class IdentifiedDriver : public Driver {
 public:
  using Driver::Driver;

  // Asks for the identification, in an exchange of its own.
  Expected<std::string> Identify() override;

 protected:
  // The query with the present settings. Called on any thread.
  virtual IdentityQuery identity_query() const = 0;
  // Whether an identification is one of this model.
  virtual bool IsModel(std::string_view identification) const = 0;

  Expected<bool> StartSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;

  // Asks for the identification, checks the model, and admits the instrument. IdentityQuery::other_instrument for
  // another model, or another instrument than the one of Connect.
  Expected<std::string> CheckIdentity(Conversation& talk);
};

}  // namespace ulix
