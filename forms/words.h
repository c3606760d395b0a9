// The words of the forms, in both languages.
#pragma once

#include <array>
#include <initializer_list>
#include <string>

#include "base/text.h"

namespace ulix {

enum class FormText {
  kOk,
  kCancel,
  kCommunication,
  kConfiguration,
  kPropertiesVerb,
  kGeneral,
  kChannel,
  kChannels,
  kGroup,
  kName,
  kOutputs,
  kAbout,
  kPort,
  kSpeed,
  kDataBits,
  kStopBits,
  kParity,
  kFlow,
  kHost,
  kTcpPort,
  kUsbLibrary,
  kFound,
  kNotFound,
  kPeriod,
  kDeadBandPercent,
  kDeadBandAbs,
  kSilence,
  kModel,
  kLibraryVersion,
  kIdentification,
  kLink,
  kNoInstrument,
  kPleaseWait,
  kNotANumber,
  kNotWhole,
  kOutOfRange,
  kNotAChoice,
  kPortRange,
  kNotTaken,
  kNothingToSet,
  kYes,
  kNo,
};

using FormTextRow = TextRowOf<FormText>;

// Every word, in the order of the enumeration.
extern const std::array<FormTextRow, static_cast<std::size_t>(FormText::kNo) + 1> kFormTexts;

// In Windows-1252; the second form puts values in place of the '%'s.
std::string Localized(FormText word, Language language);
std::string Localized(FormText word, Language language, std::initializer_list<std::string> values);

}  // namespace ulix
