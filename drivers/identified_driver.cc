#include "drivers/identified_driver.h"

namespace ulix {

Expected<std::string> IdentifiedDriver::Identify() {
  const IdentityQuery identity = identity_query();
  return Exchange([&](Conversation& talk) { return talk.QueryText(identity.query, identity.reply, identity.text); });
}

Expected<std::string> IdentifiedDriver::CheckIdentity(Conversation& talk) {
  const IdentityQuery identity = identity_query();
  auto identification = talk.QueryText(identity.query, identity.reply, identity.text);
  if (!identification) return identification;
  if (!IsModel(*identification)) return Failure(identity.other_instrument);
  const HRESULT admitted = talk.Admit(*identification, identity.other_instrument);
  return Failed(admitted) ? Failure(admitted) : std::move(identification);
}

Expected<bool> IdentifiedDriver::StartSession(Conversation& talk) {
  return identity_query().query.empty() ? true : Started(CodeOf(CheckIdentity(talk)));
}

SyncQuery IdentifiedDriver::sync_query() const {
  const IdentityQuery identity = identity_query();
  return {.query = identity.query, .trailing_lines = identity.trailing_lines, .alternate = identity.alternate};
}

// Another reply that stopped midway may stand before it.
bool IdentifiedDriver::IsSyncReply(std::string_view reply) const {
  const IdentityQuery identity = identity_query();
  const std::size_t start = reply.rfind(identity.start);
  if (identity.query.empty() || start == reply.npos) return false;
  if (!identity.start.empty()) reply.remove_prefix(start);
  return IsModel(identity.text ? identity.text(reply) : reply);
}

}  // namespace ulix
