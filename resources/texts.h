// The visible texts that belong to no single instrument, in English and French, by their string-table numbers.
#pragma once

#include <span>
#include <string>

#include "base/text.h"

namespace ulix {

enum class TextId : int {
  kDataBits = 150,  // '%c' is the digit
  kStopBits = 151,
  kParityEven = 152,
  kParityOdd = 153,
  kParityIgnore = 154,
  kParityNone = 155,
  kFlowHardware = 156,
  kFlowNone = 157,
  kNotOpened = 513,
  kInvalidArgument = 514,
  kNoGroupId = 518,
  kNoModbusServer = 521,
  kAccessRights = 523,
  kNoIpPort = 524,
  kNoSerialPort = 525,
  kOpenedLate = 7662,  // OPEN_RS_MAX_RETRIES
};

struct TextRow {
  TextId id;
  LocalizedText words;
};

std::span<const TextRow> AllTexts();

// The text in Windows-1252.
std::string Text(TextId id, Language language);

}  // namespace ulix
