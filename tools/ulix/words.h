// The words that the command line shows to people, in both languages. What scripts read has one language.
#pragma once

#include <array>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/text.h"

namespace ulix::cli {

enum class CliText {
  // A form asked line by line.
  kPromptKeys,
  kPromptStop,
  kPageOf,
  kTakesChoice,
  kTakesOpenList,
  kTakesNumber,
  kTakesText,
  kTakesLibraryText,
  kTakesCheckBox,
  kTakesYesOrNo,
  kWhatChanges,
  kNothingChanges,
  kApplyThis,
  kNothingWasChanged,
  kNothingIsKept,
  kKeptIn,
  // Plots and reports.
  kReadingFailed,
  kValue,
  kNoData,
  kLocalTimeOf,
  kLocalTimeFromTo,
  kScanTitle,
  kMemoryTitle,
  kInstrument,
  kMeasurement,
  kSettings,
  kPlot,
  kStatistics,
  kErrors,
  kReadings,
  kModelWord,
  kDisplayName,
  kComputer,
  kMadeOn,
  kFrom,
  kTo,
  kDuration,
  kRows,
  kMemoryBlock,
  kUnit,
  kReadingCount,
  kFailedCount,
  kLeast,
  kMost,
  kMean,
  kDeviation,
  kFirst,
  kLast,
  kDrift,
  kTime,
  kNumber,
  kCode,
  kText,
  kNoErrors,
  kErrorsLeftOut,
  kNoNumber,
  kNoReadings,
  kRowsShortened,
  kMadeBy,
  kDays,
  kHours,
  kMinutes,
  kSeconds,
  kChannelsOf,
  kChannelLabel,
  kOwnCode,
  kSimulated,
  // Tables and progress.
  kWaitingForReport,
  kOneReport,
  kReports,
  kReadingsFailed,
  kCtrlCEnds,
  kMoreChannels,
  kChannelHead,
  kValueHead,
  kUnitHead,
  kTrendHead,
  kErrorHead,
  kIdHead,
  kNameHead,
  kBlockHead,
  kSizeHead,
  kRecordsHead,
  kRecordingHead,
  kModelHead,
  kProgIdHead,
  kLinkHead,
  kChannelsHead,
  kNumberHead,
  kDeviceHead,
  kKeyHead,
  kDefaultHead,
  kTakesHead,
  kOneRecord,
  kRecordCount,
  kProgramSent,
  kProgramReRead,
  kConfigurationSent,
  kChannelSet,
  // Failures.
  kUnableToRead,
  kNoConfiguration,
  kUnableToWrite,
  kUnableToPrint,
  kCancelled,
  kUnableToListen,
  kNoTerminal,
  kNoTerminalButTcp,
  kUnknownRequest,
  kNoCode,
  kNoCodeOf,
  // The tour.
  kDirectionHead,
  kDecimalsHead,
  kTourConnection,
  kTourConfiguration,
  kTourScan,
  kTourOutput,
  kTourDeadBand,
  kTourPulledLine,
  kTourShown,
  kTourNotShown,
  kTourAnswer,
  kTourLines,
  kTourScans,
  kTourFollows,
  kTourFewReports,
  kTourPlotTitle,
  kTourFailed,
  kTourRecovered,
  kTourCsv,
  kTourPlot,
  kTourIncomplete,
  kWordCount,
};

using CliTextRow = TextRowOf<CliText>;

// Every word, in the order of the enumeration.
extern const std::array<CliTextRow, static_cast<std::size_t>(CliText::kWordCount)> kCliTexts;

// In UTF-8; the second form puts values in place of the '%'s.
std::string Localized(CliText word, Language language);
std::string Localized(CliText word, Language language, std::initializer_list<std::string> values);
// The same in the language that this program shows: the user's own until another is asked for.
std::string Localized(CliText word, std::initializer_list<std::string> values = {});
Language ShownLanguage();
void SetShownLanguage(Language language);

// The headings of a table.
std::vector<std::string> Heads(std::initializer_list<CliText> words, Language language);

}  // namespace ulix::cli
