#include "drivers/others/adt760/driver.h"

#include <utility>

#include "base/text.h"
#include "drivers/catalogue.h"
#include "drivers/others/adt760/protocol.h"

namespace ulix::adt760 {
namespace {

constexpr std::string_view kClearErrors = "*CLS\n";
constexpr std::string_view kIdentifyQuery = "*IDN?\n";
constexpr std::string_view kFunctionQuery = "SENS:ELEC:FUNC?\n";
constexpr std::string_view kErrorQuery = "SYST:ERR?\n";
constexpr ReplyPlan kReply = {.size = UsbLink::kReplySize + 1};

// Makes a query after clearing the error queue.
Expected<std::string> QueryAfterClear(Conversation& talk, std::string_view query) {
  if (const HRESULT result = talk.Send(kClearErrors); Failed(result)) return Failure(result);
  return talk.Query(query, kReply);
}

}  // namespace

Adt760Driver::Adt760Driver(const DriverServices& services)
    : IdentifiedDriver(kCard, UsbWire(
                                  adt761CtlErrWinUsbNotLoaded, [this] { return WantedDevice(); }, services)) {}

// The device in the settings. An error for a text that is not a GUID. With an empty text the helper library looks for
// the device.
Expected<UsbIdentity> Adt760Driver::WantedDevice() const {
  const auto record = settings().Current();
  const auto guid = ParseGuid(TextIn(*record, kSettings[kGuid]));
  if (!guid && !TextIn(*record, kSettings[kGuid]).empty()) return Failure(winUsbCommErrGuidNotFound);
  return UsbIdentity{.guid = guid.value_or(Guid()),
                     .vendor = static_cast<std::uint16_t>(CodeIn(*record, kSettings[kVendor])),
                     .product = static_cast<std::uint16_t>(CodeIn(*record, kSettings[kProduct]))};
}

Expected<bool> Adt760Driver::StartSession(Conversation& talk) {
  const HRESULT result = talk.Send(kClearErrors);
  return Failed(result) ? Failure(result) : IdentifiedDriver::StartSession(talk);
}

// The identification query is empty when the settings switch identification off, because any instrument may then be
// connected. Reading the error queue as the alternate query loses no error, because every operation clears the queue at
// its start.
IdentityQuery Adt760Driver::identity_query() const {
  const bool wanted = CodeIn(*settings().Current(), kSettings[kIdentify]) != 0;
  return {.query = wanted ? kIdentifyQuery : std::string_view(),
          .reply = kReply,
          .other_instrument = adt760CtlErrNotAdt760,
          .alternate = kErrorQuery};
}

bool Adt760Driver::IsModel(std::string_view identification) const { return IsAdt760(identification); }

Expected<std::string> Adt760Driver::Identify() {
  return Exchange([](Conversation& talk) -> Expected<std::string> {
    Expected<std::string> line;
    const HRESULT result = talk.Whole([&] {
      line = talk.QueryText(kIdentifyQuery, kReply);
      return CodeOf(line);
    });
    return Failed(result) ? Failure(result) : Expected<std::string>(Trimmed(*line));
  });
}

HRESULT Adt760Driver::ReadErrorQueue(Conversation& talk) {
  const auto answer = talk.Query(kErrorQuery, kReply);
  if (!answer) return answer.error();
  if (!IsErrorQueue(*answer)) talk.NoteStray();
  const std::lock_guard lock(last_error_mutex_);
  last_error_ = *answer;
  return CheckErrorQueue(*answer);
}

// The error queue is read after every answer, valid or not. The first failure counts.
Reading Adt760Driver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = adt760CtlErrChNum};
  return ReadingOf(Exchange([&](Conversation& talk) -> Expected<float> {
    Expected<float> value = 0.0F;
    const HRESULT result = talk.Whole([&] {
      value = Measure(talk, id);
      return CodeOf(value);
    });
    return Failed(result) ? Failure(result) : value;
  }));
}

Expected<float> Adt760Driver::Measure(Conversation& talk, ChannelId id) {
  const char* query = kQueries[id];
  if (id == kElectricalChannel) {
    const auto function = AskFunction(talk);
    if (!function) return Failure(function.error());
    query = (*function)->query;
  }
  const auto answer = QueryAfterClear(talk, query);
  if (!answer) return Failure(answer.error());
  const auto value = ParseReading(*answer, id);
  const HRESULT queue = ReadErrorQueue(talk);
  if (value && Failed(queue)) return Failure(queue);
  return value;
}

Expected<const ElectricalFunction*> Adt760Driver::AskFunction(Conversation& talk) {
  const auto answer = QueryAfterClear(talk, kFunctionQuery);
  if (!answer) return Failure(answer.error());
  const HRESULT queue = ReadErrorQueue(talk);
  const ElectricalFunction* function = FindFunction(*answer);
  if (!function) return Failure(winUsbCommErrUnableToReadComm);
  if (Failed(queue)) return Failure(queue);
  function_ = function;
  return function;
}

HRESULT Adt760Driver::WriteChannel(ChannelId id, float value) {
  const auto command = WriteCommand(id, value);
  if (!command) return command.error();
  return Exchange([&](Conversation& talk) {
    // Deliberate: the control never ends venting. Writing 0 only clears the error queue.
    if (command->empty()) return talk.Send(kClearErrors);
    return talk.Whole([&] {
      const HRESULT result = talk.SendEach({kClearErrors, *command});
      return Failed(result) ? result : ReadErrorQueue(talk);
    });
  });
}

ChannelTraits Adt760Driver::DescribeChannel(ChannelId id) const {
  ChannelTraits traits{.resolution = id == kVentChannel ? 0 : kResolution, .limits = {}};
  if (id < kElectricalChannel || id == kSetPointChannel) traits.unit = kPressureUnit;
  if (id == kElectricalChannel) traits.unit = function_.load()->unit;
  if (id == kCurrentChannel) traits.unit = kCurrentUnit;
  return traits;
}

std::string Adt760Driver::LastError() const {
  const std::lock_guard lock(last_error_mutex_);
  return last_error_;
}

const CatalogueEntry kEntry{&kCard, MakeDriver<Adt760Driver>};

}  // namespace ulix::adt760
