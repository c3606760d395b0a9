#include "calibration/plan_loader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "calibration/json_document.h"
#include "calibration/json_reader.h"
#include "calibration/plan_check.h"
#include "calibration/planned_instrument.h"

namespace ulix::calibration {
namespace {

constexpr double kDay = 86400;
constexpr std::size_t kMaxPoints = 20000;
constexpr int kMaxCycles = 100;

// Reads a channel: "block/TARGET TEMPERATURE" or {"instrument": "block", "channel": "TARGET TEMPERATURE"}.
bool ReadChannel(const JsonNode& node, const std::string& path, PlanProblems& problems, ChannelRef& channel) {
  channel.line = node.line;
  if (const std::string* text = node.text()) {
    const std::size_t slash = text->find('/');
    channel.instrument = text->substr(0, slash);
    channel.channel = slash == text->npos ? "" : text->substr(slash + 1);
    if (!channel.instrument.empty() && !channel.channel.empty()) return true;
    problems.push_back({node.line, path, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAChannel)}), false});
    return false;
  }
  problems.push_back({node.line, path, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAChannel)}), false});
  return false;
}

bool ReadChannel(JsonReader& from, const std::string& key, ChannelRef& channel) {
  const JsonNode* node = from.Find(key);
  return node && ReadChannel(*node, from.PathOf(key), from.problems(), channel);
}

void RequireChannel(JsonReader& from, const std::string& key, ChannelRef& channel) {
  if (from.Require(key)) ReadChannel(from, key, channel);
}

void ReadOptionalChannel(JsonReader& from, const std::string& key, std::optional<ChannelRef>& channel) {
  ChannelRef found;
  if (ReadChannel(from, key, found)) channel = found;
}

void ReadRange(JsonReader& from, double& min, double& max) {
  from.Number("min", min);
  from.Number("max", max);
  if (min > max) from.Note(Bilingual(TextId::kPlanMinAboveMax));
}

void ReadSensor(JsonReader& from, SensorSpec& sensor) {
  const JsonNode* node = from.Find("sensor");
  if (!node) return;
  sensor.line = node->line;
  if (node->text()) {
    sensor.type = *node->text();
    return;
  }
  from.Object("sensor", [&](JsonReader& spec) {
    if (spec.Require("type")) spec.Text("type", sensor.type);
    spec.Number("r0", sensor.r0, 0.001, 1e6);
    spec.Number("rtpw", sensor.rtpw, 0.001, 1e6);
    spec.Text("subrange", sensor.subrange);
    spec.Named("coefficients", [&](const std::string& name, const JsonNode& value) {
      if (!value.number())
        return spec.Note(value, "coefficients." + name,
                         Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanANumber)}));
      sensor.coefficients.emplace_back(name, *value.number());
    });
    spec.Number("junction", sensor.junction, -50, 100);
    ReadOptionalChannel(spec, "junction-channel", sensor.junction_channel);
  });
}

void ReadScale(JsonReader& from, std::optional<Scale>& scale) {
  from.Object("scale", [&](JsonReader& spec) {
    const auto pair = [&](const char* key, double& low, double& high) {
      const JsonNode* node = spec.Require(key);
      if (!node) return;
      const auto* values = node->array();
      const bool good = values && values->size() == 2 && (*values)[0].number() && (*values)[1].number();
      if (!good) return spec.Note(*node, key, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanTwoNumbers)}));
      low = *(*values)[0].number();
      high = *(*values)[1].number();
    };
    scale.emplace();
    pair("from", scale->from_low, scale->from_high);
    pair("to", scale->to_low, scale->to_high);
    if (scale->from_low == scale->from_high) spec.Note(Bilingual(TextId::kPlanScaleFlat));
  });
}

void ReadCertificate(JsonReader& from, CertificateRef& certificate) {
  const JsonNode* node = from.Find("certificate");
  if (!node) return;
  certificate.line = node->line;
  if (node->text()) {
    certificate.file = *node->text();
    return;
  }
  from.Object("certificate", [&](JsonReader& spec) {
    if (spec.Require("file")) spec.Text("file", certificate.file);
    spec.Text("accept-overdue", certificate.accept_overdue);
    spec.Text("sha256", certificate.sha256);
  });
}

void ReadSource(JsonReader& from, SourcePlan& source) {
  RequireChannel(from, "set", source.channel);
  ReadOptionalChannel(from, "actual", source.actual);
  ReadRange(from, source.min, source.max);
  if (from.Require("safe")) from.Number("safe", source.safe);
  from.Number("near", source.near, 0);
  from.Number("rate", source.rate, 0);
  from.Seconds("settle", source.settle);
}

void ReadReference(JsonReader& from, ReferencePlan& reference) {
  RequireChannel(from, "channel", reference.channel);
  from.Text("name", reference.name);
  from.Text("serial-number", reference.serial_number);
  from.Text("manufacturer", reference.manufacturer);
  from.Text("model", reference.model);
  ReadSensor(from, reference.sensor);
  ReadScale(from, reference.scale);
  ReadCertificate(from, reference.certificate);
  ReadRange(from, reference.min, reference.max);
  from.Number("resolution", reference.resolution, 0);
  from.Number("height", reference.height);
}

void ReadUnit(JsonReader& from, UnitPlan& unit) {
  RequireChannel(from, "channel", unit.channel);
  if (from.Require("name")) from.Text("name", unit.name);
  from.Text("serial-number", unit.serial_number);
  from.Text("manufacturer", unit.manufacturer);
  from.Text("model", unit.model);
  from.Text("description", unit.description);
  ReadSensor(from, unit.sensor);
  ReadScale(from, unit.scale);
  from.Number("tolerance", unit.tolerance, 0);
  ReadRange(from, unit.min, unit.max);
  from.Number("resolution", unit.resolution, 0);
  from.Number("height", unit.height);
}

void ReadStability(JsonReader& from, StabilityRule& rule) {
  from.Object("stability", [&](JsonReader& spec) {
    spec.Seconds("window", rule.window, 1, kDay);
    spec.Number("spread", rule.spread, 0);
    spec.Number("drift", rule.drift, 0);
    spec.Whole("min-samples", rule.min_samples, 3, 1000000);
    spec.Number("unit-spread", rule.unit_spread, 0);
    spec.Number("unit-drift", rule.unit_drift, 0);
  });
}

void ReadReadings(JsonReader& from, ReadingRule& rule) {
  from.Object("readings", [&](JsonReader& spec) {
    spec.Whole("count", rule.count, 1, 100000);
    spec.Seconds("period", rule.period, 0.1, 3600);
    spec.Choice("order",
                {{"reference-units-reference", ReadingOrder::kReferenceFirstAndLast},
                 {"reference-units", ReadingOrder::kReferenceThenUnits}},
                rule.order);
  });
}

enum class Sequence { kAsListed, kRising, kRisingFalling };

// Puts the listed points of the plan into the order of the run.
class PointList {
 public:
  PointList(JsonReader& from, Plan& plan) : from_(from), plan_(plan) {}

  void Read() {
    StabilityRule stability;
    ReadingRule readings;
    double dwell = 0;
    ReadStability(from_, stability);
    ReadReadings(from_, readings);
    from_.Seconds("dwell", dwell, 0, kDay);
    usual_ = {.dwell = dwell, .stability = stability, .readings = readings};
    Sequence sequence = Sequence::kAsListed;
    int cycles = 1;
    from_.Choice("sequence",
                 {{"as-listed", Sequence::kAsListed},
                  {"rising", Sequence::kRising},
                  {"rising-falling", Sequence::kRisingFalling}},
                 sequence);
    from_.Whole("cycles", cycles, 1, kMaxCycles);
    ReadList();
    Arrange(sequence, cycles);
  }

 private:
  static BilingualText TooManyPoints() { return Bilingual(TextId::kPlanTooManyPoints, {std::to_string(kMaxPoints)}); }

  void ReadList() {
    const JsonNode* list = from_.Require("points");
    if (!list) return;
    if (!list->array())
      return from_.Note(*list, "points", Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanAList)}));
    std::size_t number = 0;
    for (const JsonNode& element : *list->array()) {
      ReadElement(element, from_.PathOf("points") + "[" + std::to_string(number++) + "]");
    }
    if (listed_.empty()) from_.Note(*list, "points", Bilingual(TextId::kPlanNoPoint));
  }

  void ReadElement(const JsonNode& element, const std::string& path) {
    PlannedPoint point = usual_;
    point.line = element.line;
    if (const double* value = element.number()) {
      point.value = *value;
      return Add(point);
    }
    if (!element.object()) {
      from_.problems().push_back(
          {element.line, path, Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanPointForm)}), false});
      return;
    }
    JsonReader spec(element, path, from_.problems());
    spec.Seconds("dwell", point.dwell, 0, kDay);
    ReadStability(spec, point.stability);
    ReadReadings(spec, point.readings);
    spec.Find("value");
    if (spec.Find("from")) return ReadRangeOf(spec, point);
    if (!spec.Find("to") && !spec.Find("step") && spec.Require("value") && spec.Number("value", point.value))
      Add(point);
  }

  void ReadRangeOf(JsonReader& spec, PlannedPoint point) {
    double from = 0, to = 0, step = 0;
    const bool whole = spec.Require("to") && spec.Require("step");
    if (!whole || !spec.Number("from", from) || !spec.Number("to", to) || !spec.Number("step", step)) return;
    const double count = step == 0 ? -1 : (to - from) / step;
    if (count < 0) return spec.Note(Bilingual(TextId::kPlanStepAway));
    if (count > static_cast<double>(kMaxPoints)) return spec.Note(TooManyPoints());
    constexpr double kRounding = 1e-6;  // as a share of a step
    const auto steps = static_cast<std::size_t>(count + kRounding);
    for (std::size_t k = 0; k <= steps; ++k) {
      point.value = from + static_cast<double>(k) * step;
      Add(point);
    }
  }

  void Add(const PlannedPoint& point) {
    if (listed_.size() < kMaxPoints) listed_.push_back(point);
  }

  void Arrange(Sequence sequence, int cycles) {
    if (sequence != Sequence::kAsListed) {
      std::stable_sort(listed_.begin(), listed_.end(), [](const auto& a, const auto& b) { return a.value < b.value; });
    }
    if (listed_.size() * static_cast<std::size_t>(cycles) * 2 > kMaxPoints) return from_.Note(TooManyPoints());
    for (int cycle = 1; cycle <= cycles; ++cycle) {
      AddOneWay(listed_, cycle, sequence == Sequence::kAsListed);
      if (sequence == Sequence::kRisingFalling) AddOneWay({listed_.rbegin(), listed_.rend()}, cycle, false);
    }
  }

  void AddOneWay(const std::vector<PlannedPoint>& points, int cycle, bool by_steps) {
    const bool falls = points.size() > 1 && points.back().value < points.front().value;
    for (std::size_t k = 0; k < points.size(); ++k) {
      PlannedPoint point = points[k];
      const bool down = by_steps ? k > 0 && point.value < points[k - 1].value : falls;
      point.direction = down ? Direction::kFalling : Direction::kRising;
      point.cycle = cycle;
      plan_.points.push_back(point);
    }
  }

  JsonReader& from_;
  Plan& plan_;
  PlannedPoint usual_;
  std::vector<PlannedPoint> listed_;
};

void ReadAddress(JsonReader& from, AddressPlan& address) {
  from.Text("name", address.name);
  from.Text("street", address.street);
  from.Text("street-number", address.street_number);
  from.Text("city", address.city);
  from.Text("post-code", address.post_code);
  from.Text("country", address.country);
  from.Text("email", address.email);
  from.Text("phone", address.phone);
}

void ReadPeople(JsonReader& from, Plan& plan) {
  from.Text("title", plan.title);
  from.Text("operator", plan.operator_name);
  from.Text("order", plan.order_number);
  from.Texts("remarks", plan.remarks);
  Language language = Language::kEnglish;
  if (from.Choice("language", {{"en", Language::kEnglish}, {"fr", Language::kFrench}}, language))
    plan.language = language;
  from.Object("customer", [&](JsonReader& spec) { ReadAddress(spec, plan.customer); });
  from.Object("laboratory", [&](JsonReader& spec) {
    ReadAddress(spec, plan.laboratory.address);
    spec.Text("code", plan.laboratory.code);
    spec.Text("responsible", plan.laboratory.responsible);
    spec.Number("best-uncertainty", plan.laboratory.best_uncertainty, 0);
  });
  from.Object("certificate", [&](JsonReader& spec) {
    spec.Text("identifier", plan.certificate.identifier);
    spec.Text("location", plan.certificate.location);
    spec.Text("method", plan.certificate.method);
    spec.Text("norm", plan.certificate.norm);
  });
}

void ReadUncertainty(JsonReader& from, Plan& plan) {
  from.Objects("uncertainty", [&](JsonReader& spec) {
    UncertaintyTerm term;
    term.line = spec.line();
    if (spec.Require("name")) spec.Text("name", term.name);
    if (spec.Require("value")) spec.Number("value", term.value, 0);
    spec.Choice<std::string>("distribution",
                             {{"normal", "normal"},
                              {"rectangular", "rectangular"},
                              {"triangular", "triangular"},
                              {"u-shaped", "u-shaped"},
                              {"resolution", "resolution"}},
                             term.distribution);
    spec.Number("k", term.k, 1, 20);
    spec.Number("sensitivity", term.sensitivity);
    spec.Number("degrees-of-freedom", term.degrees_of_freedom, 1);
    spec.Text("unit", term.unit_under_test);
    plan.uncertainty.push_back(term);
  });
  from.Object("decision", [&](JsonReader& spec) {
    if (spec.Require("rule")) {
      spec.Choice("rule",
                  {{"none", DecisionRule::kNone},
                   {"simple", DecisionRule::kSimple},
                   {"guard-band", DecisionRule::kGuardBand},
                   {"four-outcomes", DecisionRule::kFourOutcomes}},
                  plan.decision.rule);
    }
    spec.Number("guard", plan.decision.guard, 0, 10);
  });
}

void ReadWorld(JsonReader& from, WorldPlan& world) {
  from.Number("start", world.start);
  from.Number("ambient", world.ambient);
  from.Number("rate", world.rate, 1e-6);
  from.Seconds("time-constant", world.time_constant, 0, kDay);
  from.Number("overshoot", world.overshoot, 0, 1);
  from.Number("control-amplitude", world.control_amplitude, 0);
  from.Seconds("control-period", world.control_period, 1, kDay);
  from.Number("noise", world.noise, 0);
  from.Number("gradient", world.gradient);
}

void ReadBenchSensor(JsonReader& from, Plan& plan) {
  BenchSensor sensor;
  ChannelRef channel;
  RequireChannel(from, "channel", channel);
  sensor.instrument = channel.instrument;
  sensor.channel = channel.channel;
  sensor.line = from.line();
  from.Seconds("lag", sensor.lag, 0, kDay);
  from.Number("offset", sensor.offset);
  sensor.offset_after_adjustment = sensor.offset;
  from.Number("offset-after-adjustment", sensor.offset_after_adjustment);
  from.Number("slope", sensor.slope);
  from.Number("noise", sensor.noise, 0);
  from.Number("hysteresis", sensor.hysteresis);
  from.Number("drift-per-day", sensor.drift);
  from.Number("resolution", sensor.resolution, 0);
  from.Number("height", sensor.height);
  const JsonNode* span = from.Find("span");
  if (span) {
    const auto* ends = span->array();
    const bool good = ends && ends->size() == 2 && (*ends)[0].number() && (*ends)[1].number();
    if (!good) from.Note(*span, "span", Bilingual(TextId::kPlanIsToBe, {Bilingual(TextId::kPlanTwoNumbers)}));
    if (good) sensor.span_low = *(*ends)[0].number(), sensor.span_high = *(*ends)[1].number();
  }
  from.Flag("loop", sensor.loop);
  plan.bench.sensors.push_back(sensor);
}

void ReadBench(JsonReader& from, Plan& plan) {
  from.Object("bench", [&](JsonReader& spec) {
    plan.bench.line = spec.line();
    int seed = 1;
    if (spec.Whole("seed", seed, 0, 2147483647)) plan.bench.seed = static_cast<std::uint32_t>(seed);
    spec.Object("world", [&](JsonReader& world) { ReadWorld(world, plan.bench.world); });
    spec.Objects("sensors", [&](JsonReader& sensor) { ReadBenchSensor(sensor, plan); });
  });
}

void ReadCourse(JsonReader& from, Plan& plan) {
  PointList(from, plan).Read();
  from.Seconds("sampling", plan.sampling, 0.1, 600);
  from.Object("preload", [&](JsonReader& spec) {
    if (spec.Require("count")) spec.Whole("count", plan.preload.count, 0, 100);
    if (spec.Require("value")) spec.Number("value", plan.preload.value);
    spec.Seconds("dwell", plan.preload.dwell, 0, kDay);
  });
  from.Object("limits", [&](JsonReader& spec) {
    spec.Seconds("point", plan.limits.point, 1, 30 * kDay);
    spec.Seconds("run", plan.limits.run, 1, 365 * kDay);
    spec.Seconds("lost", plan.limits.lost, 0, kDay);
    spec.Whole("repeats", plan.limits.repeats, 0, 1000);
  });
  std::vector<std::string> phases;
  if (!from.Texts("phases", phases)) return;
  plan.phases.clear();
  for (const std::string& phase : phases) {
    if (phase == "as-found" || phase == "as-left") {
      plan.phases.push_back(phase == "as-left" ? Phase::kAsLeft : Phase::kAsFound);
    } else {
      from.NoteChoice("phases", phase, {"as-found", "as-left"});
    }
  }
}

void ReadQuantity(JsonReader& from, Plan& plan) {
  from.Choice("quantity", {{"temperature", Quantity::kTemperature}, {"pressure", Quantity::kPressure}}, plan.quantity);
  if (plan.quantity == Quantity::kPressure) plan.unit = "kPa";
  from.Text("unit", plan.unit);
  from.Number("density", plan.density, 0);
}

void ReadAmbient(JsonReader& from, Plan& plan) {
  from.Object("ambient", [&](JsonReader& spec) {
    spec.Number("temperature", plan.ambient.temperature, -50, 80);
    spec.Number("humidity", plan.ambient.humidity, 0, 100);
    spec.Number("pressure", plan.ambient.pressure, 300, 1200);
    ReadOptionalChannel(spec, "temperature-channel", plan.ambient.temperature_channel);
  });
}

void ReadPlan(JsonReader& from, Plan& plan) {
  int version = 0;
  if (from.Require("plan")) from.Whole("plan", version, 1, 1);
  ReadPeople(from, plan);
  ReadQuantity(from, plan);
  from.Require("instruments");
  from.Named("instruments", [&](const std::string& name, const JsonNode& node) {
    PlannedInstrument instrument;
    instrument.name = name;
    JsonReader spec(node, "instruments." + name, from.problems());
    if (node.object()) ReadInstrument(spec, instrument);
    plan.instruments.push_back(std::move(instrument));
  });
  if (from.Require("source")) from.Object("source", [&](JsonReader& spec) { ReadSource(spec, plan.source); });
  if (from.Require("reference"))
    from.Object("reference", [&](JsonReader& spec) { ReadReference(spec, plan.reference); });
  from.Require("units");
  from.Objects("units", [&](JsonReader& spec) { ReadUnit(spec, plan.units.emplace_back()); });
  ReadCourse(from, plan);
  ReadAmbient(from, plan);
  ReadUncertainty(from, plan);
  ReadBench(from, plan);
}

// The default distance within which the source counts as near.
double UsualNear(const Plan& plan) {
  constexpr double kDegrees = 0.5, kShareOfSpan = 0.01, kSpreads = 5;
  double low = kInfinity, high = -kInfinity, spread = 0;
  for (const PlannedPoint& point : plan.points) {
    low = std::min(low, point.value);
    high = std::max(high, point.value);
    spread = std::max(spread, point.stability.spread);
  }
  const double usual = plan.quantity == Quantity::kTemperature ? kDegrees : kShareOfSpan * (high - low);
  return std::max(usual, kSpreads * spread);
}

bool IsError(const PlanProblem& problem) { return !problem.warning; }

}  // namespace

bool LoadedPlan::usable() const { return std::none_of(problems.begin(), problems.end(), IsError); }

LoadedPlan LoadPlan(std::string_view text, const std::string& folder) {
  LoadedPlan loaded;
  loaded.plan.folder = folder;
  loaded.plan.text = text;
  const auto document = ParseJson(text);
  if (!document) return loaded.problems.push_back(ProblemOf(document.error())), loaded;
  {
    JsonReader reader(*document, "", loaded.problems);
    if (document->object()) ReadPlan(reader, loaded.plan);
  }
  if (loaded.plan.source.near <= 0) loaded.plan.source.near = UsualNear(loaded.plan);
  // The parts are compared only if none is missing, because other problems would follow from a missing one.
  if (loaded.usable()) {
    const auto more = CheckPlan(loaded.plan);
    loaded.problems.insert(loaded.problems.end(), more.begin(), more.end());
  }
  std::stable_sort(loaded.problems.begin(), loaded.problems.end(),
                   [](const PlanProblem& a, const PlanProblem& b) { return a.line < b.line; });
  return loaded;
}

std::string Described(const PlanProblem& problem, Language language) {
  std::string text = problem.line > 0 ? std::to_string(problem.line) + ": " : "";
  if (!problem.path.empty()) text += problem.path + ": ";
  return text + problem.message.In(language);
}

}  // namespace ulix::calibration
