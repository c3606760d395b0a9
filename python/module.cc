// The part of the Python package that is compiled: instruments, scans, stability, plans, certificates. Python code
// (python/ulix) makes the package's own interface of it. Every call that may wait releases the interpreter's lock.
// Texts go to Python as UTF-8.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/text.h"
#include "calibration/dcc/dcc.h"
#include "calibration/instruments.h"
#include "calibration/plan_loader.h"
#include "calibration/planned_instrument.h"
#include "calibration/stability.h"
#include "core/instrument.h"
#include "core/version.h"
#include "drivers/catalogue.h"
#include "simulators/simulated_line.h"

namespace py = pybind11;

namespace ulix::python {
namespace {

// A published code on its way to Python, where it becomes an exception of its kind.
struct Refused {
  HRESULT code;
  std::string text;  // UTF-8
};
// An error without a code, such as an unknown model, or a setting that is refused.
struct Mistake {
  std::string text;
};

// Leaves the interpreter to other threads while the library works. A thread that comes back when the program is ending
// stays here: the interpreter would end the thread, and its objects cannot be unwound.
class WithoutInterpreter {
 public:
  WithoutInterpreter() : state_(PyEval_SaveThread()) {}
  WithoutInterpreter(const WithoutInterpreter&) = delete;
  WithoutInterpreter& operator=(const WithoutInterpreter&) = delete;
  ~WithoutInterpreter() {
    try {
      PyEval_RestoreThread(state_);
    } catch (...) {
      for (;;) std::this_thread::sleep_for(std::chrono::hours(24));
    }
  }

 private:
  PyThreadState* state_;
};

constexpr std::size_t kMaxWaitingScans = 100'000;
constexpr std::uint32_t kReadMs = 60'000;

// One scan as its arrays; times are days since 30 December 1899, local time.
struct Columns {
  std::vector<ChannelId> ids;
  std::vector<double> values, times;
  std::vector<std::int32_t> errors;
  std::vector<std::int32_t> qualities;

  void Add(const ChannelArrays& arrays) {
    for (std::size_t k = 0; k < arrays.size(); ++k) {
      // The quality codes of industrial hosts: 0 bad, 192 good, 500 an earlier value.
      const bool bad = Failed(arrays.errors[k]) || arrays.doubts[k] == Doubt::kNoNumber;
      ids.push_back(arrays.ids[k]);
      values.push_back(bad ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(arrays.values[k]));
      times.push_back(arrays.times[k]);
      errors.push_back(arrays.errors[k]);
      qualities.push_back(bad ? 0 : arrays.doubts[k] == Doubt::kNoValue ? 500 : 192);
    }
  }
};

template <typename T>
py::array_t<T> ArrayOf(const std::vector<T>& values) {
  return py::array_t<T>(static_cast<py::ssize_t>(values.size()), values.data());
}

py::tuple TupleOf(const Columns& columns) {
  return py::make_tuple(ArrayOf(columns.ids), ArrayOf(columns.times), ArrayOf(columns.values),
                        ArrayOf(columns.qualities), ArrayOf(columns.errors));
}

// The scans of a group that Python did not take yet. The oldest go when there are too many.
class ScanQueue final : public EventSink {
 public:
  explicit ScanQueue(std::uint32_t group) : group_(group) {}

  void DataChange(std::uint32_t group, const ChannelArrays& arrays) override {
    if (group != group_) return;
    Columns scan;
    scan.Add(arrays);
    const std::lock_guard lock(mutex_);
    if (scans_.size() >= kMaxWaitingScans) scans_.pop_front(), ++missed_;
    scans_.push_back(std::move(scan));
    changed_.notify_all();
  }
  // None when the time passed, or the scans ended.
  std::optional<Columns> Take(double seconds) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return ended_ || !scans_.empty(); });
    if (scans_.empty()) return std::nullopt;
    std::optional<Columns> scan(std::move(scans_.front()));
    scans_.pop_front();
    return scan;
  }
  void End() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }
  bool ended() const {
    const std::lock_guard lock(mutex_);
    return ended_ && scans_.empty();
  }
  std::uint64_t missed() const {
    const std::lock_guard lock(mutex_);
    return missed_;
  }

 private:
  const std::uint32_t group_;
  mutable std::mutex mutex_;  // Guards all members below.
  std::condition_variable changed_;
  std::deque<Columns> scans_;
  std::uint64_t missed_ = 0;
  bool ended_ = false;
};

class Device {
 public:
  Device(calibration::PlannedInstrument planned, std::uint32_t timeout_ms) {
    planned.timeout_ms = timeout_ms;
    if (!FindModel(planned.model)) throw Mistake{"'" + planned.model + "' is no model"};
    DriverServices services;
    if (planned.simulated()) line_ = std::make_unique<SimulatedLine>(planned.model);
    if (line_) services = line_->ServicesOf(services);
    own_settings_ = planned.settings.empty() && planned.config_file.empty();
    auto made = calibration::MakeInstrument(planned, "", services, {});
    if (!made) throw Mistake{made.error().en};
    instrument_ = std::move(*made);
    if (line_) line_->Match(instrument_->settings());
  }

  void Connect() {
    Check(instrument_->Connect());
    if (own_settings_) Check(calibration::AskOwnSettings(*instrument_));
  }
  void Disconnect() {
    for (;;) {
      std::shared_ptr<ScanQueue> queue;
      {
        const std::lock_guard lock(mutex_);
        if (running_.empty()) break;
        queue = running_.begin()->first;
      }
      StopScans(queue);
    }
    instrument_->Disconnect();
  }
  std::string Identify() {
    std::string text;
    Check(instrument_->Identify(&text));
    return Utf8FromAnsi(Trimmed(text));
  }
  std::string DeviceVersion() {
    std::string text;
    Check(instrument_->GetDevVersion(&text));
    return Utf8FromAnsi(Trimmed(text));
  }
  std::string TypeName() {
    std::string text;
    Check(instrument_->InstrType(&text));
    return Utf8FromAnsi(text);
  }

  // Id, name, direction (-1 in, 0 both, 1 out) of each channel.
  std::vector<std::tuple<ChannelId, std::string, int>> Channels() {
    std::vector<std::tuple<ChannelId, std::string, int>> channels;
    for (ChannelId id = 0; id < instrument_->card().channels.size(); ++id) {
      if (!instrument_->OffersChannel(id)) continue;
      std::string name;
      std::int32_t direction = 0;
      instrument_->GetChanName(id, &name);
      instrument_->GetChanDir(id, &direction);
      channels.emplace_back(id, Utf8FromAnsi(name), direction);
    }
    return channels;
  }
  std::string Unit(ChannelId id) {
    std::string unit;
    Check(instrument_->GetChanUnit(id, &unit));
    return Utf8FromAnsi(unit);
  }
  // None if it is not known.
  std::optional<int> Resolution(ChannelId id) {
    std::int16_t decimals = 0;
    Check(instrument_->GetChanResol(id, &decimals));
    return decimals < kUnknownResolution ? std::optional<int>(decimals) : std::nullopt;
  }

  Columns Read(const std::vector<ChannelId>& ids) {
    ChannelArrays arrays;
    ReadInto(ids, arrays);
    Columns columns;
    columns.Add(arrays);
    return columns;
  }
  // One channel, on the calling thread: value, unit, quality, time, error.
  std::tuple<double, std::string, int, double, std::int32_t> ReadOne(ChannelId id) {
    GroupChannel record;
    Check(instrument_->ReadChan(id, &record));
    const bool bad = Failed(record.error) || record.doubt == Doubt::kNoNumber;
    const int quality = bad ? 0 : record.doubt == Doubt::kNoValue ? 500 : 192;
    const double value = bad ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(record.value);
    return {value, Unit(id), quality, record.time, record.error};
  }
  void Write(ChannelId id, double value) { Check(instrument_->SetChanVal(id, Value(value))); }

  std::shared_ptr<ScanQueue> StartScans(const std::vector<ChannelId>& ids, const GroupSettings& settings) {
    std::int32_t connected = 0;
    Check(instrument_->IsConnected(&connected));
    if (!connected) Check(E_UNEXPECTED);
    std::uint32_t group = MakeGroup(ids);
    auto queue = std::make_shared<ScanQueue>(group);
    const HRESULT set = instrument_->SetGroupSettings(group, settings);
    const std::uint32_t cookie = instrument_->events().Advise(queue);
    const HRESULT result = Succeeded(set) ? instrument_->RunGroup(group) : set;
    {
      const std::lock_guard lock(mutex_);
      running_[queue] = {group, cookie};
    }
    if (Failed(result)) StopScans(queue), Check(result);
    return queue;
  }
  void StopScans(const std::shared_ptr<ScanQueue>& queue) {
    Running running;
    {
      const std::lock_guard lock(mutex_);
      const auto found = running_.find(queue);
      if (found == running_.end()) return;
      running = found->second;
      running_.erase(found);
    }
    instrument_->RemoveGroup(running.group);
    instrument_->events().Unadvise(running.cookie);
    queue->End();
  }

  std::map<std::string, std::string> SettingTexts() const {
    std::map<std::string, std::string> texts;
    const Settings& settings = instrument_->settings();
    for (const SettingRow& row : settings.rows()) texts[row.key] = Utf8FromAnsi(settings.TextOf(row));
    return texts;
  }
  std::vector<std::string> SettingLabels(const std::string& key) const {
    const SettingRow* row = instrument_->settings().Find(key);
    if (!row) throw Mistake{"'" + key + "' is no setting"};
    std::vector<std::string> labels;
    for (const EnumLabel& label : row->labels) labels.emplace_back(label.name);
    return labels;
  }
  void SetSetting(const std::string& key, const std::string& text) {
    const SettingRow* row = instrument_->settings().Find(key);
    if (!row) throw Mistake{"'" + key + "' is no setting"};
    if (Failed(instrument_->settings().SetText(*row, AnsiFromUtf8(text)))) {
      throw Mistake{"the setting " + key + " does not take '" + text + "'"};
    }
  }
  void SendConfig() { Check(instrument_->SendCfg()); }
  void ReadConfig() { Check(instrument_->ReadCfg()); }
  void Run() { Check(instrument_->Run()); }
  void Stop() { Check(instrument_->Stop()); }

  std::vector<std::uint32_t> MemoryBlocks() {
    std::vector<std::uint32_t> blocks;
    Check(instrument_->MemBlocks(&blocks));
    return blocks;
  }
  std::tuple<std::uint32_t, std::uint32_t> MemoryStatus(std::int32_t block) {
    std::uint32_t size = 0, records = 0;
    std::int32_t destructive = 0, recording = 0;
    Check(instrument_->GetMemBlockStatus(block, &size, &records, &destructive, &recording));
    return {size, records};
  }
  Columns ReadMemory(std::int32_t block, std::uint32_t max_records) {
    ChannelArrays arrays;
    std::uint32_t read = 0;
    Check(instrument_->ReadMemBlock(block, max_records, false, &arrays, &read));
    Columns columns;
    columns.Add(arrays);
    return columns;
  }
  std::string Query(const std::string& text) {
    std::string reply;
    Check(instrument_->RawQuery(AnsiFromUtf8(text), &reply));
    return Utf8FromAnsi(reply);
  }
  std::string ErrorText(HRESULT code) { return TextOfCode(code); }
  // Of a simulated instrument: what it measures, and the like.
  void SetSimulated(const std::string& key, const std::string& value) {
    if (!line_) throw Mistake{"the instrument is not simulated"};
    const HRESULT result =
        line_->bench()->WithSimulator([&](Simulator& simulator) { return simulator.Set(key, value); });
    if (Failed(result)) throw Mistake{"the simulated instrument does not take " + key + "=" + value};
  }

 private:
  struct Running {
    std::uint32_t group = 0, cookie = 0;
  };

  std::string TextOfCode(HRESULT code) {
    std::int32_t unknown = 0;
    std::string text;
    instrument_->GetErrorText(code, false, &unknown, &text);
    return Utf8FromAnsi(text);
  }
  void Check(HRESULT result) {
    if (Failed(result)) throw Refused{result, TextOfCode(result)};
  }
  std::uint32_t MakeGroup(const std::vector<ChannelId>& ids) {
    std::uint32_t group = 0;
    Check(instrument_->CreateGroup(&group));
    for (const ChannelId id : ids) {
      const HRESULT result = instrument_->ConnectGroupChan(group, id);
      if (Failed(result)) instrument_->RemoveGroup(group), Check(result);
    }
    return group;
  }
  // The group of these channels; it is kept for the next reading.
  std::uint32_t ReadGroup(const std::vector<ChannelId>& ids) {
    const std::lock_guard lock(mutex_);
    const auto found = read_groups_.find(ids);
    if (found != read_groups_.end()) return found->second;
    // A call waits for a scan for the group's period and two seconds. An exchange ends by itself before.
    const std::uint32_t group = MakeGroup(ids);
    Check(instrument_->SetGroupSettings(group, {.period_ms = kReadMs}));
    return read_groups_[ids] = group;
  }
  void ReadInto(const std::vector<ChannelId>& ids, ChannelArrays& arrays) {
    const std::uint32_t group = ReadGroup(ids);
    Check(instrument_->ImmediateReadGroups({&group, 1}));
    Check(instrument_->GetChansVals(ids, &arrays));
  }

  bool own_settings_ = false;  // the instrument's are taken, for none were given
  std::unique_ptr<SimulatedLine> line_;
  std::unique_ptr<Instrument> instrument_;
  std::mutex mutex_;  // Guards the members below.
  std::map<std::vector<ChannelId>, std::uint32_t> read_groups_;
  std::map<std::shared_ptr<ScanQueue>, Running> running_;
};

py::object g_make_error;  // of Python: code and text to an exception

void RaiseRefused(const Refused& refused) {
  const py::object error = g_make_error(static_cast<std::uint32_t>(refused.code), refused.text);
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
}

void TranslateErrors(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const Refused& refused) {
    RaiseRefused(refused);
  } catch (const Mistake& mistake) {
    PyErr_SetString(PyExc_ValueError, mistake.text.c_str());
  }
}

std::map<std::string, std::uint32_t> ErrorCodes() {
  std::map<std::string, std::uint32_t> codes;
#define ULIX_ERROR_CODE(name, value) codes[#name] = value##U;
#include "generated/error_codes.def"
#undef ULIX_ERROR_CODE
  return codes;
}

std::vector<std::pair<std::string, std::string>> Models() {
  std::vector<std::pair<std::string, std::string>> models;
  for (const CatalogueEntry& entry : Catalogue()) {
    models.emplace_back(entry.card->model_id, Utf8FromAnsi(entry.card->display_name.In(Language::kEnglish)));
  }
  return models;
}

// Line, path, message in English, whether it is only a warning.
using ProblemTuple = std::tuple<int, std::string, std::string, bool>;

py::dict PlanOf(const std::string& text, const std::string& folder) {
  calibration::LoadedPlan loaded;
  {
    const WithoutInterpreter working;
    loaded = calibration::LoadPlan(text, folder);
  }
  std::vector<ProblemTuple> problems;
  for (const auto& p : loaded.problems) problems.emplace_back(p.line, p.path, p.message.en, p.warning);
  std::vector<std::tuple<double, bool, int>> points;
  for (const auto& p : loaded.plan.points) {
    points.emplace_back(p.value, p.direction == calibration::Direction::kRising, p.cycle);
  }
  std::vector<std::pair<std::string, double>> units;
  for (const auto& u : loaded.plan.units) units.emplace_back(u.name, u.tolerance);
  std::vector<std::pair<std::string, std::string>> instruments;
  for (const auto& i : loaded.plan.instruments) instruments.emplace_back(i.name, i.model);
  py::dict plan;
  plan["title"] = loaded.plan.title;
  plan["unit"] = loaded.plan.unit;
  plan["points"] = points;
  plan["units"] = units;
  plan["instruments"] = instruments;
  plan["problems"] = problems;
  plan["usable"] = loaded.usable();
  return plan;
}

py::dict QuantityOf(const calibration::CertificateQuantity& quantity) {
  py::list lists;
  for (const auto& values : quantity.values) {
    py::dict list;
    list["unit"] = values.unit;
    list["numbers"] = values.numbers;
    list["expanded"] = values.uncertainty ? values.uncertainty->expanded : std::vector<std::string>();
    list["coverage_factor"] = values.uncertainty ? values.uncertainty->coverage_factor : std::vector<std::string>();
    lists.append(list);
  }
  py::dict made;
  made["name"] = quantity.name.In("en");
  made["ref_type"] = quantity.ref_type;
  made["values"] = lists;
  return made;
}

py::dict CertificateOf(const std::string& xml) {
  const auto read = calibration::ReadDcc(xml);
  if (!read) throw Mistake{read.error().en};
  const calibration::Certificate& certificate = *read;
  py::dict made;
  made["identifier"] = certificate.identifier;
  made["schema_version"] = certificate.schema_version;
  made["begin_date"] = certificate.begin_date;
  made["end_date"] = certificate.end_date;
  made["issue_date"] = certificate.issue_date;
  made["laboratory"] = certificate.laboratory.name.In("en");
  made["customer"] = certificate.customer.name.In("en");
  std::vector<std::string> items;
  for (const auto& item : certificate.items) items.push_back(item.name.In("en"));
  made["items"] = items;
  py::list results;
  for (const auto& measurement : certificate.measurements) {
    for (const auto& result : measurement.results) {
      for (const auto& table : result.tables) {
        for (const auto& quantity : table.quantities) results.append(QuantityOf(quantity));
      }
      for (const auto& quantity : result.quantities) results.append(QuantityOf(quantity));
    }
  }
  made["results"] = results;
  std::vector<std::string> problems;
  for (const auto& problem : calibration::CheckContent(certificate)) problems.push_back(problem.en);
  made["problems"] = problems;
  return made;
}

// The end of an instrument waits for its threads, which may be at a line.
void EndDevice(Device* device) {
  const WithoutInterpreter working;
  delete device;
}

std::shared_ptr<Device> MakeDevice(const std::string& model, const std::string& port, const std::string& host,
                                   std::optional<int> tcp_port, std::optional<std::uint32_t> baud,
                                   std::uint32_t timeout_ms, const std::string& config,
                                   const std::vector<std::pair<std::string, std::string>>& settings) {
  calibration::PlannedInstrument planned;
  planned.name = planned.model = model;
  planned.port = port;
  planned.host = host;
  planned.tcp_port = tcp_port;
  planned.baud_rate = baud;
  planned.config_file = config;
  planned.settings = settings;
  return {new Device(std::move(planned), timeout_ms), EndDevice};
}

std::shared_ptr<ScanQueue> StartScans(Device& device, const std::vector<ChannelId>& ids, double period_s,
                                      double dead_band, double dead_band_percent,
                                      std::optional<double> max_report_interval_s) {
  const double longest = std::numeric_limits<std::uint32_t>::max();
  return device.StartScans(ids,
                           {.period_ms = static_cast<std::uint32_t>(period_s * 1000 + 0.5),
                            .dead_band_percent = static_cast<float>(dead_band_percent),
                            .dead_band_abs = static_cast<float>(dead_band),
                            .dead_time_max_s = static_cast<std::uint32_t>(max_report_interval_s.value_or(longest))});
}

using Unlocked = py::call_guard<WithoutInterpreter>;

void DefineDevice(py::module_& module) {
  py::class_<Device, std::shared_ptr<Device>>(module, "Device")
      .def(py::init(&MakeDevice), py::arg("model"), py::arg("port"), py::arg("host"), py::arg("tcp_port"),
           py::arg("baud"), py::arg("timeout_ms"), py::arg("config"), py::arg("settings"))
      .def("connect", &Device::Connect, Unlocked())
      .def("disconnect", &Device::Disconnect, Unlocked())
      .def("identify", &Device::Identify, Unlocked())
      .def("version", &Device::DeviceVersion, Unlocked())
      .def("type_name", &Device::TypeName)
      .def("channels", &Device::Channels)
      .def("unit", &Device::Unit, py::arg("channel"), Unlocked())
      .def("resolution", &Device::Resolution, py::arg("channel"), Unlocked())
      .def("read_one", &Device::ReadOne, py::arg("channel"), Unlocked())
      .def(
          "read",
          [](Device& device, const std::vector<ChannelId>& ids) {
            Columns columns;
            {
              const WithoutInterpreter working;
              columns = device.Read(ids);
            }
            return TupleOf(columns);
          },
          py::arg("channels"))
      .def("write", &Device::Write, py::arg("channel"), py::arg("value"), Unlocked())
      .def("start_scans", &StartScans, py::arg("channels"), py::arg("period"), py::arg("dead_band"),
           py::arg("dead_band_percent"), py::arg("max_report_interval"), Unlocked())
      .def("stop_scans", &Device::StopScans, py::arg("queue"), Unlocked())
      .def("settings", &Device::SettingTexts)
      .def("setting_labels", &Device::SettingLabels, py::arg("key"))
      .def("set_setting", &Device::SetSetting, py::arg("key"), py::arg("text"))
      .def("send_config", &Device::SendConfig, Unlocked())
      .def("read_config", &Device::ReadConfig, Unlocked())
      .def("run", &Device::Run, Unlocked())
      .def("stop", &Device::Stop, Unlocked())
      .def("memory_blocks", &Device::MemoryBlocks, Unlocked())
      .def("memory_status", &Device::MemoryStatus, py::arg("block"), Unlocked())
      .def(
          "read_memory",
          [](Device& device, std::int32_t block, std::uint32_t max_records) {
            Columns columns;
            {
              const WithoutInterpreter working;
              columns = device.ReadMemory(block, max_records);
            }
            return TupleOf(columns);
          },
          py::arg("block"), py::arg("max_records"))
      .def("query", &Device::Query, py::arg("text"), Unlocked())
      .def("error_text", &Device::ErrorText, py::arg("code"))
      .def("set_simulated", &Device::SetSimulated, py::arg("key"), py::arg("value"));
  py::class_<ScanQueue, std::shared_ptr<ScanQueue>>(module, "ScanQueue")
      .def(
          "take",
          [](ScanQueue& queue, double seconds) -> py::object {
            std::optional<Columns> scan;
            {
              const WithoutInterpreter working;
              scan = queue.Take(seconds);
            }
            return scan ? py::object(TupleOf(*scan)) : py::object(py::none());
          },
          py::arg("seconds"))
      .def_property_readonly("ended", &ScanQueue::ended)
      .def_property_readonly("missed", &ScanQueue::missed);
}

void DefineStability(py::module_& module) {
  using calibration::StabilityDetector;
  using calibration::StabilityLimits;
  py::class_<StabilityDetector>(module, "StabilityDetector")
      .def(py::init([](double window, double spread, double drift, int min_samples, double resolution,
                       std::optional<double> target, double near, double give_up) {
             return StabilityDetector(
                 StabilityLimits{window, spread, drift, min_samples, resolution, target, near, give_up});
           }),
           py::arg("window"), py::arg("spread"), py::arg("drift"), py::arg("min_samples"), py::arg("resolution"),
           py::arg("target"), py::arg("near"), py::arg("give_up"))
      .def(
          "add",
          [](StabilityDetector& detector, double seconds, std::optional<double> value) {
            const auto& report = detector.Add(seconds, value);
            return py::make_tuple(calibration::NameOf(report.state), report.spread, report.drift, report.seconds_left,
                                  report.gave_up);
          },
          py::arg("seconds"), py::arg("value"))
      .def("reset", &StabilityDetector::Reset);
}

}  // namespace

PYBIND11_MODULE(_ulix, module) {
  module.doc() = "The compiled part of the package ulix. Use the package.";
  py::register_exception_translator(TranslateErrors);
  module.def(
      "set_error_maker", [](py::object maker) { g_make_error = std::move(maker); }, py::arg("maker"));
  module.def("version", &VersionText);
  module.def("models", &Models);
  module.def("error_codes", &ErrorCodes);
  module.def("load_plan", &PlanOf, py::arg("text"), py::arg("folder"));
  module.def("read_certificate", &CertificateOf, py::arg("xml"));
  DefineDevice(module);
  DefineStability(module);
  // The interpreter is gone when static objects are destroyed.
  module.attr("_cleanup") = py::capsule([] { g_make_error = py::object(); });
}

}  // namespace ulix::python
