// memory, program: a logger's records, and its program.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <span>
#include <string_view>

#include "tools/ulix/arguments.h"
#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/memory_output.h"
#include "tools/ulix/memory_verb.h"
#include "tools/ulix/output.h"
#include "tools/ulix/progress_bar.h"
#include "tools/ulix/question.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct ProgramOptions {
  ConnectionOptions connection;
  std::string action;
  std::string file;
};

[[noreturn]] void ThrowCancelled() { throw OperationFailed(kCancelled, Shown(TextId::kOperationCancelled)); }

struct BlockRow {
  std::int32_t id = 0;
  std::string name;  // UTF-8
  std::uint32_t size = 0;
  std::uint32_t records = 0;
  bool recording = false;
};

BlockRow BlockStatus(Session& session, std::int32_t id) {
  BlockRow row{.id = id};
  std::int32_t destructive = 0;
  std::int32_t recording = 0;
  std::string name;
  session.Check(session.instrument().GetMemBlockStatus(id, &row.size, &row.records, &destructive, &recording));
  session.Check(session.instrument().GetMemBlockName(id, &name));
  row.name = Shown(name);
  row.recording = recording != 0;
  return row;
}

std::vector<std::uint32_t> BlockIds(Session& session) {
  std::vector<std::uint32_t> blocks;
  session.Check(session.instrument().MemBlocks(&blocks));
  return blocks;
}

constexpr std::string_view kByName = "name:";

// The number of a block in a text; none for a name.
std::optional<std::int32_t> BlockNumber(const std::string& text) {
  if (text.size() > kByName.size() && EqualIgnoringCase(text.substr(0, kByName.size()), kByName)) return std::nullopt;
  std::int32_t block = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), block);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  if (whole && block >= 0 && block <= static_cast<std::int32_t>(kLastMemBlock)) return block;
  throw UsageError("BLOCK", text.empty() ? Shown(TextId::kBlockMissing) : Shown(TextId::kNotABlock, {text}));
}

// The block that the user named, from a connected session. The error lists the blocks that exist.
BlockRow FindBlock(Session& session, const std::string& text) {
  const auto number = BlockNumber(text);
  const std::string name = number ? std::string() : text.substr(kByName.size());
  std::string there;
  for (const std::uint32_t id : BlockIds(session)) {
    BlockRow row = BlockStatus(session, static_cast<std::int32_t>(id));
    if (number ? row.id == *number : EqualIgnoringCase(row.name, name)) return row;
    there += (there.empty() ? "" : ", ") + std::to_string(row.id) + " name:" + row.name;
  }
  // A logger that does not list its blocks accepts any number.
  if (there.empty() && number) return {.id = *number, .name = {}};
  throw UsageError("BLOCK",
                   there.empty() ? Shown(TextId::kNoBlockAtAll, {text}) : Shown(TextId::kNoBlock, {text, there}));
}

void CheckHasMemory(Session& session) {
  std::string name;
  if (session.instrument().GetMemBlockName(0, &name) != S_OK) {
    throw UsageError("MODEL", Shown(TextId::kRecordsNothing, {session.instrument().card().model_id}));
  }
}

// Scripts get the English word.
std::string YesOrNo(bool yes, Language language) {
  return Shown(yes ? TextId::kYes : TextId::kNo, OnTerminal() ? language : Language::kEnglish);
}

int ListBlocks(Session& session, bool json, Language language) {
  session.Connect();
  Table table(
      Heads({TextId::kBlockHead, TextId::kNameHead, TextId::kSizeHead, TextId::kRecordsHead, TextId::kRecordingHead},
            language));
  Json array = Json::array();
  for (const std::uint32_t id : BlockIds(session)) {
    const BlockRow row = BlockStatus(session, static_cast<std::int32_t>(id));
    array.push_back({{"block", row.id},
                     {"name", row.name},
                     {"size", row.size},
                     {"records", row.records},
                     {"recording", row.recording}});
    table.Add({std::to_string(row.id), row.name, std::to_string(row.size), std::to_string(row.records),
               YesOrNo(row.recording, language)});
  }
  json ? PrintJson(array) : table.Print();
  return 0;
}

// The title of a block's plot and report, with a '%' for the instrument's name.
std::string TitleOf(std::int32_t block, Language language) {
  return Shown(TextId::kMemoryTitle, language, {"%", std::to_string(block + 1)});
}

ReportPlan PlanReport(Session& session, const MemoryOptions& options, std::int32_t block) {
  const Language language = LanguageOf(options.connection);
  ReportFacts facts = FactsOf(session, TitleOf(block, language), language);
  std::string name;
  session.instrument().GetMemBlockName(block, &name);
  facts.measurement = {{Shown(TextId::kMemoryBlock, language), Shown(name)}};
  AddNotes(facts, options.notes, language);
  const ErrorText error_text = [&session](HRESULT code) { return session.Explain(code); };
  return {options.report_file, std::move(facts), error_text, language};
}

// The channels of the logger's program; none if the program is not known.
std::vector<Channel> ProgrammedChannels(Session& session, const ConnectionOptions& options) {
  if (options.no_config || !session.instrument().card().channels_in_instrument) return {};
  try {
    return session.Channels();
  } catch (const OperationFailed&) {
    return {};
  }
}

void AddOutputs(Session& session, const MemoryOptions& options, std::int32_t block, std::span<const Channel> known,
                RecordSinks& sinks) {
  // The files come first, because output on the screen cannot be undone.
  if (!options.csv_file.empty())
    sinks.Add(MakeRecordCsv(options.csv_file, NotesForCsv(session, known, options.notes), options.csv_separator));
  if (!options.plot_file.empty()) {
    const Language language = LanguageOf(options.connection);
    const std::string name = Shown(session.instrument().card().display_name.In(language));
    sinks.Add(MakeRecordPlot(options.plot_file, WithValues(TitleOf(block, language), {name}), language, known));
  }
  if (!options.report_file.empty()) sinks.Add(MakeRecordReport(PlanReport(session, options, block), known));
  if (options.json) {
    sinks.Add(MakeRecordJson(known));
  } else if (options.lines && options.csv_file != kStandardOutput) {
    sinks.Add(MakeRecordLines(known));
  }
}

std::string RecordCount(std::uint32_t records, Language language) {
  return Shown(TextId::kRecordCount, language, {std::to_string(records)});
}

// A failed write ends the read like any other failure. The logger is freed before it is reported.
class Guarded final : public RecordSink {
 public:
  explicit Guarded(RecordSink& sink) : sink_(sink) {}
  HRESULT Take(const ChannelArrays& records) override {
    return Guard([&] { return sink_.Take(records); });
  }
  HRESULT Complete() override {
    return Guard([&] { return sink_.Complete(); });
  }
  void Rethrow() const { failure_.Rethrow(); }

 private:
  template <typename Call>
  HRESULT Guard(Call&& call) {
    HRESULT result = kWriteFault;
    failure_.Attempt([&] { result = call(); });
    return result;
  }
  RecordSink& sink_;
  FirstFailure failure_;
};

void CheckOutputs(const MemoryOptions& options) {
  const std::pair<const char*, const std::string&> files[] = {
      {"--csv", options.csv_file}, {"--plot", options.plot_file}, {"--report", options.report_file}};
  for (const auto& [argument, file] : files) {
    if (file.empty() || file == kStandardOutput) continue;
    CheckMayReplace(argument, file, options.connection.force);
    CheckReplaceable(file);
  }
}

// Keeps the newest rows that come, at most `max`.
class NewestRecords final : public RecordSink {
 public:
  explicit NewestRecords(std::uint32_t max) : max_(max) {}
  HRESULT Take(const ChannelArrays& records) override {
    rows_.Append(records);
    const std::size_t more = rows_.size() > max_ ? rows_.size() - max_ : 0;
    const auto drop = [&](auto& column) {
      column.erase(column.begin(), column.begin() + static_cast<std::ptrdiff_t>(more));
    };
    drop(rows_.ids), drop(rows_.values), drop(rows_.errors), drop(rows_.times), drop(rows_.doubts);
    return S_OK;
  }
  HRESULT Complete() override {
    complete_ = true;
    return S_OK;
  }
  bool complete() const { return complete_; }
  const ChannelArrays& rows() const { return rows_; }

 private:
  const std::uint32_t max_;
  ChannelArrays rows_;
  bool complete_ = false;
};

// A logger counts its time marks as records, and gives no measurement before the first mark that is read. So more of
// its records are read until there is a measurement.
HRESULT ReadNewest(Session& session, const MemoryOptions& options, std::int32_t block, RecordSink& sink,
                   std::uint32_t* read) {
  Instrument& instrument = session.instrument();
  for (std::uint64_t wanted = options.max_records;; wanted *= 2) {
    NewestRecords newest(options.max_records);
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(wanted, UINT32_MAX));
    const HRESULT result = instrument.StreamMemBlock(block, count, false, newest, read);
    if (Failed(result) || !newest.complete()) return result;
    *read = static_cast<std::uint32_t>(newest.rows().size());
    const bool enough = *read > 0 || wanted >= BlockStatus(session, block).records;
    if (!enough) continue;
    const HRESULT taken = sink.Take(newest.rows());
    return Failed(taken) ? taken : sink.Complete();
  }
}

// The block to read. If the logger does not list its blocks, any number is accepted.
std::int32_t BlockToRead(Session& session, const MemoryOptions& options, bool has_program) {
  const auto number = BlockNumber(options.block);
  const std::vector<std::uint32_t> ids = number && has_program ? BlockIds(session) : std::vector<std::uint32_t>();
  const auto is_wanted = [&](std::uint32_t id) { return static_cast<std::int32_t>(id) == *number; };
  if (number && (ids.empty() || std::any_of(ids.begin(), ids.end(), is_wanted))) return *number;
  return FindBlock(session, options.block).id;
}

int ReadBlock(Session& session, const ProgressBar& bar, const MemoryOptions& options) {
  CheckOutputs(options);
  session.Connect();
  const std::vector<Channel> known = ProgrammedChannels(session, options.connection);
  const std::int32_t block = BlockToRead(session, options, !known.empty());
  RecordSinks outputs;
  AddOutputs(session, options, block, known, outputs);
  Guarded sink(outputs);
  std::uint32_t read = 0;
  const HRESULT result = options.max_records == 0
                             ? session.instrument().StreamMemBlock(block, 0, options.clear, sink, &read)
                             : ReadNewest(session, options, block, sink, &read);
  sink.Rethrow();
  session.Check(result);
  if (!outputs.complete() && bar.interrupted()) ThrowCancelled();
  if (!options.json) Tell(RecordCount(read, LanguageOf(options.connection)));
  return 0;
}

}  // namespace

namespace {

int ClearBlock(Session& session, const MemoryOptions& options) {
  const Language language = OnTerminal() ? LanguageOf(options.connection) : Language::kEnglish;
  session.Connect();
  const BlockRow block = FindBlock(session, options.block);
  const std::uint32_t wanted = options.count.value_or(0);
  const std::uint32_t records = wanted == 0 ? block.records : std::min(wanted, block.records);
  const std::string id = std::to_string(block.id);
  const std::string what =
      block.name.empty() ? id : Shown(TextId::kBlockOf, language, {id, block.name, std::to_string(records)});
  if (!options.yes && SomebodyIsThere() && !AskYesOrNo(Shown(TextId::kClearBlock, language, {what}))) ThrowCancelled();
  session.Check(session.instrument().ClearMemBlock(block.id, wanted));
  PrintLine(Shown(TextId::kBlockCleared, language, {what}));
  return 0;
}

}  // namespace

int Memory(const MemoryOptions& options) {
  CheckFilesDiffer(options.csv_file, options.plot_file, options.report_file);
  CheckOneOutput(options.csv_file, options.json);
  CheckKind("--plot", options.plot_file, ".svg");
  CheckKind("--report", options.report_file, ".html");
  if (options.action != "list") BlockNumber(options.block);
  ProgressBar bar;
  Session session(options.connection, {}, &bar);
  CheckHasMemory(session);
  if (options.action == "list") return ListBlocks(session, options.json, LanguageOf(options.connection));
  return options.action == "read" ? ReadBlock(session, bar, options) : ClearBlock(session, options);
}

namespace {

// Throws for a failed transfer. A failure of the file names the file and the reason.
void CheckTransfer(Session& session, const std::string& file, HRESULT result) {
  std::uint32_t records = 0;
  const HRESULT checked = Succeeded(result) ? S_OK : session.instrument().CheckProgram(file, &records);
  if (checked != result) session.Check(result);
  if (Failed(result)) throw OperationFailed(result, session.Explain(result) + ": " + file + CauseOfUnreadable(file));
}

int CheckProgram(Session& session, const std::string& file, Language language) {
  std::uint32_t records = 0;
  CheckTransfer(session, file, session.instrument().CheckProgram(file, &records));
  PrintLine(RecordCount(records, OnTerminal() ? language : Language::kEnglish));
  return 0;
}

int Program(const ProgramOptions& options) {
  const Language language = LanguageOf(options.connection);
  const bool send = options.action == "send";
  ProgressBar bar;
  Session session(options.connection, {}, &bar);
  if (session.instrument().CheckProgram("", nullptr) == E_NOTIMPL) {
    throw UsageError("MODEL", Shown(TextId::kHasNoProgram, {options.connection.model}));
  }
  if (options.action == "check") return CheckProgram(session, options.file, language);
  if (!send) CheckMayReplace("FILE", options.file, options.connection.force);
  if (!send) CheckReplaceable(options.file);
  Instrument& instrument = session.instrument();
  const HRESULT result = send ? instrument.SendProgram(options.file) : instrument.ReadProgram(options.file);
  if (result == kCancelled) ThrowCancelled();
  send ? CheckTransfer(session, options.file, result) : session.Check(result);
  Tell(Shown(send ? TextId::kProgramSent : TextId::kProgramReRead, language));
  return 0;
}

struct MemoryArgument {
  const char* name;
  std::string_view actions;  // The actions that accept the option.
};
constexpr std::array kMemoryArguments = {
    MemoryArgument{"--yes", "clear"},      MemoryArgument{"--csv-separator", "read"},
    MemoryArgument{"BLOCK", "read clear"}, MemoryArgument{"N", "clear"},
    MemoryArgument{"--max", "read"},       MemoryArgument{"--clear", "read"},
    MemoryArgument{"--csv", "read"},       MemoryArgument{"--plot", "read"},
    MemoryArgument{"--report", "read"},    MemoryArgument{"--json", "list read"}};

void CheckArguments(const CLI::App& verb, const std::string& action) {
  for (const auto& [name, actions] : kMemoryArguments) {
    const bool taken = actions.find(action) != std::string_view::npos;
    if (!taken && !verb.get_option(name)->empty()) throw UsageError(name, Shown(TextId::kActionTakesNone, {action}));
  }
}

}  // namespace

Action DefineMemory(CLI::App& verb) {
  const auto options = std::make_shared<MemoryOptions>();
  AddModel(verb, options->connection);
  verb.add_option("ACTION", options->action, Shown(TextId::kHelpMemoryAction))
      ->required()
      ->type_name("list|read|clear")
      ->check(OneOf({"list", "read", "clear"}));
  verb.add_option("BLOCK", options->block, Shown(TextId::kHelpBlock))->type_name("");
  verb.add_option("N", options->count, Shown(TextId::kHelpClearCount))
      ->type_name("")
      ->transform(WholeNumber(0, UINT32_MAX));
  verb.add_option("--max", options->max_records, Shown(TextId::kHelpNewest))
      ->type_name("N")
      ->transform(WholeNumber(0, UINT32_MAX));
  verb.add_flag("--clear", options->clear, Shown(TextId::kHelpClear));
  verb.add_flag("--yes", options->yes, Shown(TextId::kHelpYes));
  verb.add_option("--csv", options->csv_file, Shown(TextId::kHelpRecordsCsv))->type_name("FILE|-");
  AddCsvSeparator(verb, options->csv_separator);
  AddNotes(verb, options->notes);
  AddForce(verb, options->connection);
  verb.add_option("--plot", options->plot_file, Shown(TextId::kHelpCurves))->type_name("FILE.svg");
  verb.add_option("--report", options->report_file, Shown(TextId::kHelpPage))->type_name("FILE.html");
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonArray));
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpMemoryNotes));
  return [=, &verb] {
    CheckArguments(verb, options->action);
    return Memory(*options);
  };
}

Action DefineProgram(CLI::App& verb) {
  const auto options = std::make_shared<ProgramOptions>();
  AddModel(verb, options->connection);
  verb.add_option("ACTION", options->action, Shown(TextId::kHelpProgramAction))
      ->required()
      ->type_name("check|send|read")
      ->check(OneOf({"check", "send", "read"}));
  verb.add_option("FILE", options->file, Shown(TextId::kHelpProgramFile))->required()->type_name("");
  AddForce(verb, options->connection);
  AddConnection(verb, options->connection);
  verb.footer(Shown(TextId::kHelpProgramNotes));
  return [=] { return Program(*options); };
}

}  // namespace ulix::cli
