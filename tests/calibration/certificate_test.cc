#include "calibration/certificate_builder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "calibration/certificate_page.h"
#include "calibration/dcc/dcc.h"
#include "tests/calibration/schema_folder.h"

namespace ulix::calibration {
namespace {

Plan ExamplePlan() {
  Plan plan;
  plan.title = "Comparison";
  plan.operator_name = "A. Operator";
  plan.order_number = "2026-0117";
  plan.laboratory = {.address = {.name = "Laboratory & Sons", .city = "Brest", .country = "FR"},
                     .responsible = "C. Riou",
                     .best_uncertainty = 0.01};
  plan.customer = {.name = "Crème <Glacée>", .city = "Quimper", .country = "FR"};
  plan.certificate = {.identifier = "EX-1"};
  plan.instruments = {{.name = "bridge", .model = "microk"},
                      {.name = "unit", .model = "cmx310", .serial_number = "310042"}};
  plan.reference = {.name = "Pt100",
                    .channel = {.instrument = "bridge"},
                    .serial_number = "PT-1",
                    .certificate = {.file = "PT-1.csv"}};
  plan.units = {{.name = "Chain 1", .channel = {.instrument = "unit"}, .tolerance = 0.5}};
  plan.uncertainty = {{.name = "Axial difference", .value = 0.03}};
  plan.decision = {.rule = DecisionRule::kGuardBand};
  return plan;
}

ReadingSeries Series(double mean, double noise, double resolution) {
  std::vector<SampledValue> readings;
  for (const double share : {-1.0, 1.0, -0.5, 0.5, 0.0}) readings.push_back({.value = mean + share * noise});
  ReadingSeries series = SeriesOf(std::move(readings));
  series.resolution = resolution;
  return series;
}

PointResult Point(double nominal, double reference, double indication, Direction direction) {
  return {.nominal = nominal,
          .direction = direction,
          .reference = Series(reference, 0.002, 0.001),
          .units = {Series(indication, 0.02, 0.1)},
          .ended = 46347.5};
}

RunResult ExampleRun() {
  RunResult run{.plan = ExamplePlan(), .version = "1.0.0.0", .journal_digest = std::string(64, 'a'), .complete = true};
  run.instruments = {{.name = "bridge", .model = "microk", .identification = "ISOTECH, MICROK"}};
  PhaseResult found{.phase = Phase::kAsFound, .began = 46347.25, .ended = 46347.75, .complete = true};
  found.points = {Point(50, 50.01, 50.2, Direction::kRising), Point(100, 99.98, 100.6, Direction::kRising),
                  Point(50, 50.00, 50.23, Direction::kFalling)};
  found.ambient = {{.temperature = 22.5, .humidity = 45}, {.temperature = 23.25, .humidity = 45}};
  PhaseResult left = found;
  left.phase = Phase::kAsLeft;
  left.began = 46348.25;
  left.ended = 46348.75;
  run.phases = {found, left};
  return run;
}

ReferenceCertificate ExampleReference() {
  auto reference = ReferenceFromTable(
      "certificate;REF-2026\nserial;PT-1\ndue;2027-01-01\nindication;correction;U;k\n0;0.01;0.02;2\n100;0.03;0.02;2\n");
  reference->sha256 = std::string(64, 'b');
  return *reference;
}

Certificate ExampleCertificate() {
  const RunResult run = ExampleRun();
  return BuildCertificate(run, *Evaluate(run, ExampleReference()), 0, "2026-11-25").value();
}

TEST(Evaluate, AnUncertaintyThatIsNotFinite_IsNoPass) {
  RunResult run = ExampleRun();
  run.plan.uncertainty[0].value = 1e200;
  const auto refused = Evaluate(run, ExampleReference());
  ASSERT_FALSE(refused);
  EXPECT_NE(refused.error().en.find("not a finite number"), std::string::npos) << refused.error().en;
  for (const char* number : {"1e999", "1e10", "0", "-1"}) {
    EXPECT_FALSE(ReferenceFromTable(std::string("indication;correction;U\n0;0.01;") + number + "\n")) << number;
  }
  EXPECT_FALSE(ReferenceFromTable("indication;correction;U\n0;-1e200;0.1\n"));
}

TEST(BuildCertificate, TheTolerance_HasACommaInFrench) {
  std::string texts;
  for (const CertificateStatement& statement : ExampleCertificate().statements) texts += statement.declaration.In("fr");
  EXPECT_NE(texts.find("±0,5 °C"), std::string::npos) << texts;
}

TEST(CertificateGaps, APlace_IsACountryOfTheWorld) {
  Plan plan = ExamplePlan();
  EXPECT_TRUE(CertificateGaps(plan).empty());
  for (const char* code : {"ZZ", "F", "fr", "D ", "EA"}) {
    plan.laboratory.address.country = code;
    EXPECT_FALSE(CertificateGaps(plan).empty()) << code;
  }
}

TEST(Evaluate, APoint_HasItsCorrectionItsBudgetAndItsDecision) {
  const auto evaluation = Evaluate(ExampleRun(), ExampleReference());
  ASSERT_TRUE(evaluation) << evaluation.error().en;
  const EvaluatedPoint& point = evaluation->units[0].phases[0].points[0];
  const double correction = 0.01 + 0.02 * 50.01 / 100;
  EXPECT_NEAR(point.correction, correction, 1e-12);
  EXPECT_NEAR(point.deviation, 50.2 - 50.01 - correction, 1e-12);
  const double falling = 50.23 - 50.00 - (0.01 + 0.02 * 50.00 / 100);
  EXPECT_NEAR(*point.hysteresis, std::abs(falling - point.deviation), 1e-12);
  // Differences have the readings' noise of 18 mK times -1, 1, -1/2, 1/2, 0.
  const double repeatability = 0.018 * std::sqrt(2.5 / 4) / std::sqrt(5.0);
  const double u =
      std::sqrt(std::pow(repeatability, 2) + std::pow(0.004 / 2, 2) / 3 + 0.1 * 0.1 / 12 + 0.001 * 0.001 / 12 +
                0.01 * 0.01 + 0.03 * 0.03 / 3 + std::pow(*point.hysteresis / 2, 2) / 3);
  EXPECT_NEAR(point.budget.StandardUncertainty(), u, 1e-12);
  EXPECT_EQ(point.budget.EffectiveFreedom(), std::floor(4 * std::pow(u / repeatability, 4)));
  EXPECT_EQ(point.conformity, Conformity::kPass);
  EXPECT_EQ(evaluation->units[0].phases[0].points[1].conformity, Conformity::kFail) << "0.59 of 0.5";
  EXPECT_EQ(evaluation->units[0].phases[0].conformity, Conformity::kFail) << "the worst of its points";
}

TEST(Evaluate, AReferenceOutsideItsCertificate_IsRefused) {
  RunResult run = ExampleRun();
  run.phases[1].points[1].reference = Series(120, 0.002, 0.001);
  const auto refused = Evaluate(run, ExampleReference());
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().en, "reference at point 100: the certificate REF-2026 covers 0 to 100, not 120");
}

TEST(Evaluate, AColumnOfTheMedium_IsAddedToThePressure) {
  RunResult run = ExampleRun();
  run.plan.quantity = Quantity::kPressure;
  run.plan.unit = "kPa";
  run.plan.density = 998;
  run.plan.reference.height = 0.5;
  run.plan.units[0].height = -0.5;
  const auto evaluation = Evaluate(run, ExampleReference());
  EXPECT_NEAR(evaluation->units[0].phases[0].points[0].head, 998 * 9.80665 / 1000, 1e-12);
}

TEST(CertificateGaps, WhatACertificateNeeds_IsTold) {
  Plan plan = ExamplePlan();
  EXPECT_TRUE(CertificateGaps(plan).empty());
  plan.laboratory.address.country = "France";
  plan.customer.name.clear();
  plan.reference.certificate.file.clear();
  const auto gaps = CertificateGaps(plan);
  ASSERT_EQ(gaps.size(), 3U);
  EXPECT_EQ(gaps[0].en, "a certificate needs laboratory.country, two capital letters in the plan");
}

TEST(BuildCertificate, ARunThatEndedEarly_IsRefused) {
  RunResult run = ExampleRun();
  const auto evaluation = Evaluate(run, ExampleReference());
  run.complete = false;
  EXPECT_FALSE(BuildCertificate(run, *evaluation, 0, "2026-11-25"));
}

TEST(BuildCertificate, BothPhases_HaveTheirTables) {
  const Certificate certificate = ExampleCertificate();
  EXPECT_TRUE(CheckContent(certificate).empty());
  ASSERT_EQ(certificate.measurements.size(), 2U);
  EXPECT_EQ(certificate.measurements[1].conditions[0].status, "afterAdjustment");
  EXPECT_EQ(certificate.measurements[0].conditions[0].quantities[1].values[0].numbers[0], "296.40");
  const auto& table = certificate.measurements[0].results[0].tables[0];
  EXPECT_EQ(table.quantities[0].values[0].numbers[1], "373.160") << "kelvin";
  EXPECT_EQ(table.quantities[0].values[1].numbers[1], "100.010") << "corrected by 0.03";
  EXPECT_EQ(table.quantities[2].meta_data[0].conformity, (std::vector<std::string>{"pass", "fail", "pass"}));
  EXPECT_EQ(certificate.measurements[0].equipment[0].certificate->value, std::string(64, 'b'));
}

TEST(CertificatePage, EachNumberOfTheTable_StandsOnIt) {
  const Certificate certificate = ExampleCertificate();
  const std::string page = CertificatePage(certificate, Language::kEnglish, std::string(64, 'c'));
  const std::string french = CertificatePage(certificate, Language::kFrench);
  for (const CertificateQuantity& quantity : certificate.measurements[0].results[0].tables[0].quantities) {
    for (const std::string& number : quantity.values.back().numbers) {
      EXPECT_NE(page.find(">" + number + "<"), std::string::npos) << number;
      std::string comma = number;
      comma.replace(comma.find('.'), 1, ",");
      EXPECT_NE(french.find(">" + comma + "<"), std::string::npos) << comma;
    }
  }
  EXPECT_NE(page.find("Crème &lt;Glacée&gt;"), std::string::npos);
  EXPECT_NE(french.find("Certificat d&#39;étalonnage"), std::string::npos);
}

TEST(OurCertificate, SchemaAndRules_FindNothing) {
  SKIP_WITHOUT_SCHEMA(folder);
  const auto written = WriteDcc(ExampleCertificate());
  ASSERT_TRUE(written) << written.error().en;
  const auto findings = CheckDccSchema(*written, folder + "/schema");
  ASSERT_TRUE(findings) << findings.error().en;
  EXPECT_TRUE(findings->empty()) << findings->front().en;
  if (const char* const keep = std::getenv("ULIX_KEEP_CERTIFICATE")) std::ofstream(keep) << *written;
}

}  // namespace
}  // namespace ulix::calibration
