#include "calibration/uncertainty.h"

#include <gtest/gtest.h>

#include <cmath>

#include "calibration/decision.h"

namespace ulix::calibration {
namespace {

BudgetTerm Standard(double u, double freedom, double sensitivity = 1) {
  return {.value = u, .distribution = Distribution::kTypeA, .sensitivity = sensitivity, .freedom = freedom};
}

BudgetTerm Rectangular(double half_width, double sensitivity = 1) {
  return {.value = half_width, .distribution = Distribution::kRectangular, .sensitivity = sensitivity};
}

BudgetTerm Normal(double expanded, double k, double freedom, double sensitivity = 1) {
  return {.value = expanded,
          .distribution = Distribution::kNormal,
          .coverage_factor = k,
          .sensitivity = sensitivity,
          .freedom = freedom};
}

// EA-4/02 M:2022, example S5: the temperature of a furnace at 1000 °C, measured with two reference thermocouples.
Budget ThermocoupleExample() {
  return {.terms = {Standard(0.10, 9), Normal(2, 2, 50, 0.077), Rectangular(0.5, 0.077), Rectangular(2, 0.077),
                    Rectangular(0.1, -0.077 / 0.189), Normal(0.3, 2, 50), Rectangular(0.3), Rectangular(1)}};
}

TEST(Budget, ThermocoupleExampleOfTheGuide_IsReproduced) {
  const Budget budget = ThermocoupleExample();
  EXPECT_NEAR(budget.StandardUncertainty(), 0.640870516811861, 5e-13);
  EXPECT_EQ(budget.EffectiveFreedom(), 7688);
  EXPECT_EQ(Report(1000.5, budget.ExpandedUncertainty()).uncertainty, "1.3");
}

TEST(Budget, FewObservations_RaiseTheCoverageFactor) {
  const Budget budget{.terms = {Standard(0.1, 4), Rectangular(0.01)}};
  EXPECT_EQ(budget.EffectiveFreedom(), 4);
  EXPECT_NEAR(budget.CoverageFactor(), 2.87, 0.005);
}

TEST(Budget, BestCapability_IsAFloor) {
  Budget budget{.terms = {Rectangular(0.01)}, .best_capability = 0.05};
  EXPECT_EQ(budget.ExpandedUncertainty(), 0.05);
  budget.best_capability = 0.001;
  EXPECT_NEAR(budget.ExpandedUncertainty(), 2 * 0.01 / std::sqrt(3.0), 1e-5);
}

TEST(Budget, NothingUncertain_HasNoUncertainty) {
  EXPECT_EQ(Budget().StandardUncertainty(), 0);
  EXPECT_EQ(Budget().EffectiveFreedom(), kInfiniteFreedom);
}

TEST(BudgetTerm, EachDistribution_HasItsDivisor) {
  const auto divisor = [](const char* name) {
    return BudgetTerm{.value = 1, .distribution = DistributionOf(name).value(), .coverage_factor = 2.5}.Divisor();
  };
  EXPECT_EQ(divisor("normal"), 2.5);
  EXPECT_NEAR(divisor("rectangular"), 1.7320508, 1e-7);
  EXPECT_NEAR(divisor("triangular"), 2.4494897, 1e-7);
  EXPECT_NEAR(divisor("u-shaped"), 1.4142136, 1e-7);
  EXPECT_NEAR(divisor("resolution"), 3.4641016, 1e-7);
  EXPECT_EQ(divisor("type-a"), 1);
  EXPECT_FALSE(DistributionOf("gaussian"));
}

// GUM, table G.2.
TEST(StudentCoverageFactor, TableOfTheGuide_IsReproduced) {
  constexpr double kTable[][2] = {{1, 13.97},
                                  {2, 4.53},
                                  {3, 3.31},
                                  {4, 2.87},
                                  {5, 2.65},
                                  {6, 2.52},
                                  {7, 2.43},
                                  {8, 2.37},
                                  {10, 2.28},
                                  {20, 2.13},
                                  {50, 2.05},
                                  {1e6, 2},
                                  {kInfiniteFreedom, 2.00}};
  for (const auto& [freedom, k] : kTable) EXPECT_NEAR(StudentCoverageFactor(freedom), k, 0.0051) << freedom;
}

TEST(Report, Uncertainty_IsRoundedUpToTwoDigitsAndTheResultWithIt) {
  struct Row {
    double value, expanded;
    const char *shown, *uncertainty;
  };
  constexpr Row kRows[] = {{0.12345, 0.0612, "0.123", "0.062"}, {0.12345, 0.05, "0.123", "0.050"},
                           {-0.0004, 0.05, "0.000", "0.050"},   {99.996, 0.0991, "100.00", "0.10"},
                           {12.3456, 1.21, "12.3", "1.3"},      {1234.5, 121, "1230", "130"},
                           {1234.5, 12, "1234", "12"},          {20.0000123, 3.01e-6, "20.0000123", "0.0000031"},
                           {0.3, 0.1 + 0.2, "0.30", "0.30"}};
  for (const Row& row : kRows) {
    const ReportedValue reported = Report(row.value, row.expanded);
    EXPECT_EQ(reported.value, row.shown) << row.value << " " << row.expanded;
    EXPECT_EQ(reported.uncertainty, row.uncertainty) << row.expanded;
  }
}

TEST(Decide, EachRule_HasItsLimits) {
  using enum DecisionRule;
  using enum Conformity;
  struct Case {
    DecisionRule rule;
    double deviation;
    Conformity expected;
  };
  for (const Case& c : {Case{kSimple, 0.5, kPass},
                        {kSimple, -0.501, kFail},
                        {kGuardBand, 0.4, kPass},  // 0.4 + 0.1 is 0.5 in decimals
                        {kGuardBand, 0.401, kFail},
                        {kFourOutcomes, -0.4, kPass},
                        {kFourOutcomes, -0.401, kConditionalPass},
                        {kFourOutcomes, 0.5, kConditionalPass},
                        {kFourOutcomes, 0.501, kConditionalFail},
                        {kFourOutcomes, 0.6, kConditionalFail},
                        {kFourOutcomes, -0.601, kFail}}) {
    EXPECT_EQ(Decide(c.rule, c.deviation, 0.5, 0.1), c.expected) << "deviation " << c.deviation;
  }
  EXPECT_EQ(Decide(kGuardBand, 0.45, 0.5, 0.1, 0.5), kPass) << "half of U is the guard band";
}

}  // namespace
}  // namespace ulix::calibration
