#include "drivers/identified_driver.h"

namespace ulix {

Expected<std::string> IdentifiedDriver::AskIdentity(Conversation& talk, const IdentityQuery& identity) {
  if (!identity.text) return talk.QueryText(identity.query, identity.reply);
  return talk.Query(identity.query, identity.reply, [&](const std::string& reply) -> Expected<std::string> {
    const std::string_view text = identity.text(std::string_view(reply).substr(0, reply.find('\0')));
    return text.empty() ? Failure(talk.Unread()) : Expected<std::string>(text);
  });
}

Expected<std::string> IdentifiedDriver::Identify() {
  return Exchange([this](Conversation& talk) { return AskIdentity(talk, identity_query()); });
}

Expected<std::string> IdentifiedDriver::CheckIdentity(Conversation& talk) {
  const IdentityQuery identity = identity_query();
  auto identification = AskIdentity(talk, identity);
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
