#include "drivers/others/microk/driver.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/trace.h"

namespace ulix::microk {
namespace {

constexpr LineProfile kLine = {.terminator = '\r', .reply_size = kReplySize, .read_ms = 3000, .write_ms = 3000};

constexpr std::string_view kIdentify = "*IDN?";

// At reading one reply. Fixed on purpose for the microK, whatever the timeouts are.
constexpr int kMicrokAttempts = 4;
constexpr std::uint64_t kMillikMsPerAttempt = 1000;

// Failures of one channel's configuration; its readings fail with them, and those of no other channel.
bool IsOneChannels(HRESULT result) {
  return result == microkCtlErrUserProbeNotFound || result == microkCtlErrBadInternalChanConfig;
}

}  // namespace

MicrokDriver::MicrokDriver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

Landmark MicrokDriver::landmark() const { return {.query = kIdentify}; }

bool MicrokDriver::IsLandmark(std::string_view reply) const {
  return IsIdentification(ModelIn(*settings().Current()), reply, identification_);
}

HRESULT MicrokDriver::Greet() {
  const auto reply = Query(kIdentify);
  if (!reply) return reply.error();
  const auto record = settings().Current();
  const Model model = ModelIn(*record);
  if (const HRESULT other = CheckIdentity(model, *reply); Failed(other)) return other;
  identification_ = *reply;
  version_ = VersionIn(model, *reply);
  if (model == kMicrok) return S_OK;
  const HRESULT remote = TakesRemote(*reply) ? Send("REM") : S_OK;
  const HRESULT prepared = Failed(remote) ? remote : PrepareQueries(record);
  return IsOneChannels(prepared) ? S_OK : prepared;
}

Expected<std::string> MicrokDriver::Identify() {
  const std::lock_guard exchange(exchange_mutex_);
  return identification_;
}

std::optional<double> MicrokDriver::instrument_version() const {
  const std::lock_guard exchange(exchange_mutex_);
  return version_;
}

HRESULT MicrokDriver::SendCfg() {
  const std::lock_guard exchange(exchange_mutex_);
  const auto record = settings().Current();
  return ModelIn(*record) == kMillik ? PrepareQueries(record) : S_OK;
}

// Builds the queries of all channels; the first failure is returned, but that of the names before any, and each channel
// keeps its own. Asks for the probes
// when a channel needs one; when they cannot be read, the next reading tries again.
HRESULT MicrokDriver::PrepareQueries(const Record& record) {
  std::optional<Expected<std::vector<std::string>>> names;
  const auto number_of = [&](const std::string& probe) -> Expected<std::uint32_t> {
    if (!names) names = ReadProbeNames();
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

Expected<std::vector<std::string>> MicrokDriver::ReadProbeNames() {
  const auto count = Query("PROB:COUN?", usual_plan(), ParseProbeCount);
  if (!count) return Failure(count.error());
  std::vector<std::string> names;
  while (names.size() < *count) {
    auto name = Query("PROB:NAM" + std::to_string(names.size() + 1) + "?", usual_plan(), ParseProbeName);
    if (!name) return Failure(name.error());
    names.push_back(std::move(*name));
  }
  return names;
}

Reading MicrokDriver::ReadChannel(ChannelId id) {
  if (id >= kChannelCount) return {.code = microkCtlErrMeasureNotAvailable};
  const std::lock_guard exchange(exchange_mutex_);
  const auto record = settings().Current();
  const auto value = ModelIn(*record) == kMillik ? MeasureMillik(id, record) : MeasureMicrok(id);
  return ReadingOf(value);
}

Expected<float> MicrokDriver::MeasureMicrok(ChannelId id) {
  return Query(ReadQuery(id), {kReplySize, kMicrokAttempts}, ParseMicrokReply);
}

// Records are never changed in place, so that the same one needs no look at what is in it.
bool MicrokDriver::IsPreparedFor(const Record& record) const {
  return prepared_for_ == record || (prepared_for_ && *prepared_for_ == *record);
}

// A record that was changed since is taken up first, so that a value never comes in another unit than the channel's.
Expected<float> MicrokDriver::MeasureMillik(ChannelId id, const Record& record) {
  if (const HRESULT back = HaveLinkBack(); Failed(back)) return Failure(back);  // which may prepare other queries
  if (!IsPreparedFor(record)) PrepareQueries(record);
  return queries_[id].and_then([&](std::string query) {
    return Query(query, {kReplySize, Attempts()}, ParseMillikReply);
  });
}

// More of them the longer a reply may take.
int MicrokDriver::Attempts() {
  std::uint32_t read_ms = 10000;  // of a link that does not say
  std::uint32_t write_ms = 3000;
  link().GetTimeouts(&read_ms, &write_ms);
  const std::uint64_t attempts = std::uint64_t{read_ms} * 9 / 10 / kMillikMsPerAttempt;
  return static_cast<int>(std::max<std::uint64_t>(attempts, 1));
}

bool MicrokDriver::OffersChannel(ChannelId id) const {
  const auto record = settings().Current();
  return ModelIn(*record) == kMicrok || ConfigIn(*record, id).enabled != 0;
}

std::string MicrokDriver::ChannelName(ChannelId id) const {
  const int model = SignedIn(*settings().Current(), kSettings[0]);
  char line[100];
  std::snprintf(line, sizeof line, "Debug CUlixInstrMicrokCtl::GetChanName() : m_nInstrumentModel == %d (0x%02X)",
                model, static_cast<unsigned>(model));
  TraceLine(line);
  return SerialDriver::ChannelName(id);
}

std::string MicrokDriver::ChannelUnit(ChannelId id) const { return UnitOf(ConfigIn(*settings().Current(), id)); }

int MicrokDriver::ChannelResolution(ChannelId id) const { return ResolutionOf(ConfigIn(*settings().Current(), id)); }

}  // namespace ulix::microk
