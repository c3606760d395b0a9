// Any bytes as replies, for every function that parses one. Each must give a finite number or a published code.
#include <cmath>
#include <string>

#include "base/reply_field.h"
#include "drivers/field/hart/protocol.h"
#include "drivers/others/flukehydra/protocol.h"
#include "drivers/others/isotech/protocol.h"
#include "drivers/others/jofrartcptc/protocol.h"
#include "drivers/others/kambic/protocol.h"
#include "drivers/others/microk/protocol.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

constexpr HRESULT kBlock = 0x200;

// A strict form of a field accepts only plain text, and nothing that a loose form refuses.
void CheckField(std::string_view answer) {
  const auto bare = ParseField(answer);
  const auto unit = ParseField(answer, {.behind = FieldForm::Behind::kUnit, .separators = " ,"});
  const auto text = ParseField(answer, {.behind = FieldForm::Behind::kText});
  Require(!bare || (unit && text && unit->value == bare->value && bare->unit.empty()),
          "a bare number is one in any form");
  Require(!(bare || unit || text) || IsPlainText(answer), "a field with control characters has no number");
  Require(!unit || std::isfinite(static_cast<float>(unit->value)), "a field's number fits a float");
}

void CheckCode(HRESULT code, HRESULT block) {
  const bool own = code >= block && code < block + kBlock;
  Require(own || code == serialCommErrUnableToReadComm, "an answer fails as one of the model's, or as a read does");
}

template <typename T>
void Check(const Expected<T>& value, HRESULT block) {
  if (!value) return CheckCode(value.error(), block);
  if constexpr (std::is_floating_point_v<T>) Require(std::isfinite(*value), "a reading is finite");
}

void CheckResult(HRESULT result, HRESULT block) {
  if (result != S_OK) CheckCode(result, block);
}

void CheckKambic(std::string_view answer) {
  kambic::IsKambic(answer);
  for (ChannelId id = 0; id < 2; ++id) Check(kambic::ParseReading(answer, id), kambicErrExceptionCode);
  CheckResult(kambic::CheckSetPointAnswer(answer, "REFC 20.50"), kambicErrExceptionCode);
}

void CheckHart(std::string_view answer) {
  Check(hart::ParseValue(answer), hartErrExceptionCode);
  hart::IsSetPoint(answer);
  Require(!hart::Confirms(answer, hart::SetPointText(20.5F)) || answer.find("20.5") != answer.npos ||
              hart::ParseValue(answer) == 20.5F,
          "what confirms a set point says it");
}

void CheckMicrok(std::string_view answer) {
  for (const auto model : {microk::kMicrok, microk::kMillik}) {
    microk::IsOf(model, answer);
    const auto version = microk::VersionIn(model, answer);
    Require(!version || std::isfinite(*version), "a version is finite");
  }
  microk::TakesRemote(answer);
  Require(!microk::IsIdentification(microk::kMillik, answer, "milliK,1.20") || answer.ends_with("milliK,1.20"),
          "an identification is the one of the connection");
  Check(microk::ParseMicrokReply(answer), microkErrExceptionCode);
  Check(microk::ParseMillikReply(answer), microkErrExceptionCode);
  Check(microk::ParseProbeCount(answer), microkErrExceptionCode);
  Check(microk::ParseProbeName(answer), microkErrExceptionCode);
}

void CheckIsotech(std::string_view answer) {
  std::string one(answer.substr(0, isotech::kAddressedAnswerSize));
  one.resize(isotech::kAddressedAnswerSize);
  CheckResult(isotech::CheckAddressedAnswer(one), isotechErrExceptionCode);
  std::string line(answer.substr(0, isotech::kLineAnswerSize));
  line.resize(isotech::kLineAnswerSize);
  CheckResult(isotech::CheckLineAnswer(line, "SP"), isotechErrExceptionCode);
  isotech::IsLongStopAnswer(line);
  isotech::HasEnded(line);
}

void CheckJofra(std::string_view answer) {
  jofrartcptc::SpeaksAscii(answer);
  for (const auto* dialect : {&jofrartcptc::kRtc, &jofrartcptc::kCtc}) {
    jofrartcptc::IsOf(*dialect, answer);
    for (const auto& place : dialect->channels) {
      Check(jofrartcptc::ParseReading(*dialect, answer, place), jofrartcptcErrExceptionCode);
    }
    jofrartcptc::ConfirmsSetPoint(*dialect, answer, 20.5F);
  }
}

void CheckHydra(std::string_view answer) {
  flukehydra::IsHydra(flukehydra::WithoutReturn(answer));
  Require(!flukehydra::IsEndOfReady(answer) || !flukehydra::IsRefusal(answer), "a prompt is one thing");
  flukehydra::IsImpossible(answer);
  CheckResult(flukehydra::RefusalIn(answer, {flukehydraCtlErrCmdSyntaxError, flukehydraCtlErrCmdExecError}),
              flukehydraErrExceptionCode);
  Check(flukehydra::ParseLast(answer, 1.0), flukehydraErrExceptionCode);
  Check(flukehydra::ParseNumber(answer, 3), flukehydraErrExceptionCode);
  Check(flukehydra::ParseInterval(answer), flukehydraErrExceptionCode);
  const auto config = flukehydra::ParseFunction(answer);
  if (!config) return CheckCode(config.error(), flukehydraErrExceptionCode);
  flukehydra::ScaleOf(*config);
  flukehydra::UnitOf(*config, 0);
  flukehydra::ResolutionOf(*config);
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view answer = ulix::TextOfInput(data, size);
  ulix::CheckField(answer);
  ulix::CheckKambic(answer);
  ulix::CheckHart(answer);
  ulix::CheckMicrok(answer);
  ulix::CheckIsotech(answer);
  ulix::CheckJofra(answer);
  ulix::CheckHydra(answer);
  return 0;
}
