// The members about recorded memory and about the instrument's program.
#include "core/instrument_member.h"
#include "platform/code_page.h"

namespace ulix {
namespace {

constexpr std::int32_t kLastCycleBlock = kLastMemBlock + 1;

// Collects the records for ReadMemBlock.
class Collector final : public RecordSink {
 public:
  HRESULT Take(const ChannelArrays& records) override {
    all_.Append(records);
    return S_OK;
  }
  HRESULT Complete() override {
    complete = true;
    return S_OK;
  }
  ChannelArrays TakeAll() { return std::move(all_); }
  bool complete = false;

 private:
  ChannelArrays all_;
};

ShownProgress ShownIn(Language language, const ProgressStep& step) {
  std::vector<std::string> numbers;
  for (const std::uint32_t number : step.numbers) numbers.push_back(std::to_string(number));
  return {step.percent, step.title.In(language), WithValues(step.text.In(language), numbers)};
}

}  // namespace

// Reports each step to the sinks and to the user, who may stop the operation.
Progress Instrument::ProgressTeller() {
  return [this](const ProgressStep& step) {
    control_->sinks.Fire(&EventSink::Progress, step.percent);
    UserInterface* ui = options_.user_interface;
    return ui == nullptr || ui->ShowProgress(ShownIn(options_.language, step));
  };
}

// Runs a member about one block. `last` is the highest id that it accepts.
template <typename Body>
HRESULT Instrument::WithBlock(std::int32_t block, std::int32_t last, bool places_given, Body&& body) {
  return Member([&]() -> HRESULT {
    RecordedMemory* memory = control_->driver->memory();
    if (memory == nullptr || !places_given || block < 0 || block > last) return E_INVALIDARG;
    return body(*memory, static_cast<std::uint32_t>(block));
  });
}

HRESULT Instrument::MemBlocks(std::vector<std::uint32_t>* blocks) {
  return Member([&]() -> HRESULT {
    if (!blocks) return E_INVALIDARG;
    blocks->clear();
    RecordedMemory* memory = control_->driver->memory();
    if (memory == nullptr) return S_OK;
    auto found = memory->Blocks();
    if (found) *blocks = std::move(*found);
    return CodeOf(found);
  });
}

HRESULT Instrument::CfgHasMemBlocks(std::int32_t* has) {
  return Member([&] {
    const RecordedMemory* memory = control_->driver->memory();
    return Give(has, memory != nullptr && memory->HasBlocks() ? 1 : 0);
  });
}

HRESULT Instrument::GetMemBlockStatus(std::int32_t block, std::uint32_t* size, std::uint32_t* records,
                                      std::int32_t* destructive_reading, std::int32_t* recording) {
  const bool places_given = !AnyNull(size, records) && !AnyNull(destructive_reading, recording);
  return WithBlock(block, kLastMemBlock, places_given, [&](RecordedMemory& memory, std::uint32_t id) -> HRESULT {
    if (!connected_) return E_UNEXPECTED;
    const auto status = memory.Status(id);
    if (!status) return status.error();
    *size = status->size;
    *records = status->records;
    *destructive_reading = 0;
    *recording = status->recording ? 1 : 0;
    return S_OK;
  });
}

HRESULT Instrument::StreamMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, RecordSink& sink,
                                   std::uint32_t* records_read) {
  if (records_read) *records_read = 0;
  return WithBlock(block, kLastMemBlock, records_read, [&](RecordedMemory& memory, std::uint32_t id) -> HRESULT {
    if (!connected_) return E_UNEXPECTED;
    std::uint32_t total = 0;
    const auto take = [&](const ChannelArrays& records) {
      total += static_cast<std::uint32_t>(records.size());
      return sink.Take(records);
    };
    const auto read = memory.Read(id, records_max, take, ProgressTeller());
    if (!read) return read.error();
    if (read->cancelled) return S_OK;
    if (const HRESULT result = sink.Complete(); Failed(result)) return result;
    *records_read = total;
    // Deliberate: a part of a block is never cleared. An empty block is not cleared either: a count of 0 would clear
    // the records that came meanwhile.
    if (!clear || records_max != 0 || read->held == 0) return S_OK;
    const HRESULT cleared = memory.Clear(id, read->held);
    if (Failed(cleared)) FireError(*control_, cleared);
    return cleared;
  });
}

HRESULT Instrument::ReadMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, ChannelArrays* arrays,
                                 std::uint32_t* records_read) {
  if (!arrays || !records_read) {
    return Member([] { return E_INVALIDARG; });
  }
  *arrays = {};
  Collector collector;
  const HRESULT result = StreamMemBlock(block, records_max, clear, collector, records_read);
  // Also when only the clearing failed: the block may be cleared nevertheless, and could not be read again.
  if (collector.complete) *arrays = collector.TakeAll();
  return result;
}

HRESULT Instrument::ClearMemBlock(std::int32_t block, std::uint32_t records) {
  return WithBlock(block, kLastMemBlock, true, [&](RecordedMemory& memory, std::uint32_t id) {
    return connected_ ? memory.Clear(id, records) : E_UNEXPECTED;
  });
}

// The names of blocks count from 1.
HRESULT Instrument::GetMemBlockName(std::int32_t block, std::string* name) {
  return WithBlock(block, kLastMemBlock, name,
                   [&](RecordedMemory&, std::uint32_t id) { return Give(name, std::to_string(id + 1)); });
}

HRESULT Instrument::GetMemBlockSize(std::int32_t block, std::uint32_t* size) {
  return WithBlock(block, kLastMemBlock, size, [&](RecordedMemory& memory, std::uint32_t id) {
    const auto found = memory.BlockSize(id);
    return found ? Give(size, *found) : found.error();
  });
}

// Deliberate: the published member accepts one id more than the other members.
HRESULT Instrument::GetMemBlockCyclePeriod(std::int32_t block, std::uint32_t* cycle_records,
                                           std::uint32_t* cycle_period) {
  const bool places_given = !AnyNull(cycle_records, cycle_period);
  return WithBlock(block, kLastCycleBlock, places_given, [&](RecordedMemory& memory, std::uint32_t id) -> HRESULT {
    const auto cycle = memory.CyclePeriod(id);
    if (!cycle) return cycle.error();
    *cycle_records = cycle->records;
    *cycle_period = cycle->period;
    return S_OK;
  });
}

// Runs a transfer with the instrument connected. When it was not connected before, it is disconnected afterwards.
template <typename Transfer>
HRESULT Instrument::WithProgram(Transfer&& transfer) {
  return Member([&]() -> HRESULT {
    ProgramTransfer* program = control_->driver->program();
    if (program == nullptr) return E_NOTIMPL;
    const bool was_connected = connected_;
    if (const HRESULT result = Connect(); Failed(result)) {
      control_->sinks.Fire(&EventSink::Progress, 100);
      return result;
    }
    const HRESULT result = transfer(*program);
    if (!was_connected) Disconnect();
    return result;
  });
}

HRESULT Instrument::CheckProgram(const std::string& path, std::uint32_t* records) {
  return Member([&]() -> HRESULT {
    ProgramTransfer* program = control_->driver->program();
    if (program == nullptr) return E_NOTIMPL;
    if (records == nullptr) return E_INVALIDARG;
    if (const HRESULT result = program->Check(path); Failed(result)) return result;
    const auto count = program->CountRecords(path);
    if (count) *records = *count;
    return CodeOf(count);
  });
}

HRESULT Instrument::SendProgram(const std::string& path) {
  return WithProgram([&](ProgramTransfer& program) { return program.Send(path, ProgressTeller()); });
}

HRESULT Instrument::ReadProgram(const std::string& path) {
  return WithProgram([&](ProgramTransfer& program) { return program.Read(path, ProgressTeller()); });
}

const SettingRow* Instrument::ProgramFileRow() const {
  const ProgramTransfer* program = control_->driver->program();
  return program ? control_->driver->settings().Find(program->file_kind().setting) : nullptr;
}

std::optional<FileQuestion> Instrument::FileQuestionOf(const SettingRow& row) const {
  if (&row != ProgramFileRow()) return std::nullopt;
  const ProgramFileKind& kind = control_->driver->program()->file_kind();
  return FileQuestion{.title = kind.title.In(options_.language),
                      .files = kind.files.In(options_.language),
                      .pattern = kind.pattern,
                      .suggested = control_->driver->settings().TextOf(row)};
}

// The file that the configuration names, or else the file that the user chooses. Empty without a user interface.
Expected<std::string> Instrument::ProgramFile(bool to_write) {
  const SettingRow* row = ProgramFileRow();
  std::optional<std::string> path = settings().TextOf(*row);
  if (!path->empty() || !options_.user_interface) return *path;
  FileQuestion question = *FileQuestionOf(*row);
  question.to_write = to_write;
  path = options_.user_interface->ChooseFile(question);
  if (!path) return Failure(kCancelled);
  if (path->empty()) return *path;
  if (!to_write) {
    if (const HRESULT result = control_->driver->program()->Check(platform::PathFromAnsi(*path)); Failed(result))
      return Failure(result);
  }
  MarkDirty();
  const HRESULT result = settings().SetText(*row, *path);
  return Failed(result) ? Failure(result) : Expected<std::string>(*path);
}

HRESULT Instrument::SendOwnProgram(ProgramTransfer& program) {
  const auto path = ProgramFile(false);
  return path ? program.Send(platform::PathFromAnsi(*path), ProgressTeller()) : path.error();
}

HRESULT Instrument::ReadOwnProgram(ProgramTransfer& program) {
  const auto path = ProgramFile(true);
  if (!path) return path.error();
  if (path->empty()) return control_->driver->ReadCfg();
  return program.Read(platform::PathFromAnsi(*path), ProgressTeller());
}

HRESULT Instrument::RefreshChannels() {
  return WhenConnected([&] { return control_->driver->RefreshChannels(); });
}

}  // namespace ulix
