#include "drivers/others/microk/driver.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/trace.h"
#include "drivers/catalogue.h"

namespace ulix::microk {
namespace {

constexpr LineProfile kLine = {.terminator = '\r', .reply_size = kReplySize, .read_ms = 3000, .write_ms = 3000};

// How often one reply is read. Deliberate: fixed for the microK, whatever the timeouts are.
constexpr int kMicrokAttempts = 4;
constexpr std::uint64_t kMillikMsPerAttempt = 1000;

Expected<std::vector<std::string>> ReadProbeNames(Conversation& talk) {
  const auto count = talk.Query("PROB:COUN?", kLine.usual(), ParseProbeCount);
  if (!count) return Failure(count.error());
  std::vector<std::string> names;
  while (names.size() < *count) {
    auto name = talk.Query("PROB:NAM" + std::to_string(names.size() + 1) + "?", kLine.usual(), ParseProbeName);
    if (!name) return Failure(name.error());
    names.push_back(std::move(*name));
  }
  return names;
}

// More attempts for longer read timeouts.
int AttemptsOfMillik(const Conversation& talk) {
  const auto read_ms = static_cast<std::uint64_t>(talk.read_timeout().count());
  return static_cast<int>(std::max<std::uint64_t>(read_ms * 9 / 10 / kMillikMsPerAttempt, 1));
}

// Whether a failure is due to the configuration of one channel. Then only the readings of that channel fail.
bool IsOneChannels(HRESULT result) {
  return result == microkCtlErrUserProbeNotFound || result == microkCtlErrBadInternalChanConfig;
}

}  // namespace

MicrokDriver::MicrokDriver(const DriverServices& services) : IdentifiedDriver(kCard, LineWire(kLine, services)) {}

IdentityQuery MicrokDriver::identity_query() const {
  const bool millik = ModelIn(*settings().Current()) == kMillik;
  return {.query = "*IDN?",
          .reply = kLine.usual(),
          .other_instrument = millik ? microkCtlErrNotMillik : microkCtlErrNotMicrok};
}

bool MicrokDriver::IsModel(std::string_view identification) const {
  return IsOf(ModelIn(*settings().Current()), identification);
}

bool MicrokDriver::IsSyncReply(std::string_view reply) const {
  return IsIdentification(ModelIn(*settings().Current()), reply, identification_);
}

Expected<bool> MicrokDriver::StartSession(Conversation& talk) {
  const auto reply = CheckIdentity(talk);
  if (!reply) return Failure(reply.error());
  const auto record = settings().Current();
  const Model model = ModelIn(*record);
  {
    const std::lock_guard lock(identity_mutex_);
    identification_ = *reply;
    version_ = VersionIn(model, *reply);
  }
  if (model == kMicrok) return true;
  HRESULT result = TakesRemote(*reply) ? talk.Send("REM") : S_OK;
  if (Succeeded(result)) result = PrepareQueries(talk, record);
  return Started(IsOneChannels(result) ? S_OK : result);
}

Expected<std::string> MicrokDriver::Identify() {
  const std::lock_guard lock(identity_mutex_);
  return identification_;
}

std::optional<double> MicrokDriver::instrument_version() const {
  const std::lock_guard lock(identity_mutex_);
  return version_;
}

HRESULT MicrokDriver::SendCfg() {
  return Exchange([this](Conversation& talk) {
    const auto record = settings().Current();
    return ModelIn(*record) == kMillik ? PrepareQueries(talk, record) : S_OK;
  });
}

// Builds the queries of all channels, and stores the failure of each channel. If a channel needs a probe, the names of
// the probes are read; if that fails, its failure is the result, and the next reading tries again. Otherwise the result
// is the first failure of a channel.
HRESULT MicrokDriver::PrepareQueries(Conversation& talk, const Record& record) {
  std::optional<Expected<std::vector<std::string>>> names;
  const auto number_of = [&](const std::string& probe) -> Expected<std::uint32_t> {
    if (!names) names = ReadProbeNames(talk);
    if (!*names) return Failure(names->error());
    const auto found = std::find((*names)->begin(), (*names)->end(), probe);
    return found == (*names)->end() ? 0U : static_cast<std::uint32_t>(found - (*names)->begin() + 1);
  };
  HRESULT first = S_OK;
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    const ChannelConfig config = ConfigIn(*record, id);
    queries_[id] = Failure(microkCtlErrMeasureNotAvailable);
    if (config.enabled == 0) continue;
    queries_[id] = (config.NeedsProbe() ? number_of(config.probe) : Expected<std::uint32_t>(0U))
                       .and_then([&](std::uint32_t probe) { return MeasureQuery(id, config, probe); });
    if (Succeeded(first)) first = CodeOf(queries_[id]);
  }
  const bool names_failed = names && !*names;
  prepared_for_ = names_failed ? nullptr : record;
  return names_failed ? names->error() : first;
}

Reading MicrokDriver::ReadChannel(ChannelId id) {
  if (id >= kChannelCount) return {.code = microkCtlErrMeasureNotAvailable};
  return ReadingOf(Exchange([&](Conversation& talk) -> Expected<float> {
    const auto record = settings().Current();
    if (ModelIn(*record) == kMillik) return MeasureMillik(talk, id, record);
    return talk.Query(ReadQuery(id), {kReplySize, kMicrokAttempts}, ParseMicrokReply);
  }));
}

// The pointers are compared first, because a record is never changed in place.
bool MicrokDriver::IsPreparedFor(const Record& record) const {
  return prepared_for_ == record || (prepared_for_ && *prepared_for_ == *record);
}

// If the record has changed, the queries are built again first, so that a value always has the unit of its channel.
Expected<float> MicrokDriver::MeasureMillik(Conversation& talk, ChannelId id, const Record& record) {
  if (!IsPreparedFor(record)) PrepareQueries(talk, record);
  return queries_[id].and_then([&](const std::string& query) {
    return talk.Query(query, {kReplySize, AttemptsOfMillik(talk)}, ParseMillikReply);
  });
}

std::string MicrokDriver::ChannelName(ChannelId id) const {
  const int model = SignedIn(*settings().Current(), kSettings[0]);
  char line[100];
  std::snprintf(line, sizeof line, "Debug CUlixInstrMicrokCtl::GetChanName() : m_nInstrumentModel == %d (0x%02X)",
                model, static_cast<unsigned>(model));
  TraceLine(line);
  return Driver::ChannelName(id);
}

ChannelTraits MicrokDriver::DescribeChannel(ChannelId id) const {
  const auto record = settings().Current();
  const ChannelConfig config = ConfigIn(*record, id);
  return {.offered = ModelIn(*record) == kMicrok || config.enabled != 0,
          .unit = UnitOf(config),
          .resolution = ResolutionOf(config),
          .limits = {}};
}

const CatalogueEntry kEntry{&kCard, MakeDriver<MicrokDriver>};

}  // namespace ulix::microk
