#include "calibration/dcc/dcc.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "calibration/files/reference_file.h"
#include "calibration/reference_certificate.h"
#include "tests/calibration/schema_folder.h"
#include "tests/support/unique_name.h"

namespace ulix::calibration {
namespace {

// A certificate with one table. A test can replace each of its parts.
struct Parts {
  std::string prologue;
  std::string version = "3.3.0";
  std::string references = "0.012 49.999 100.008";
  std::string indications = "0.05 50.08 100.14";
  std::string uncertainty =
      "<si:measurementUncertaintyUnivariateXMLList><si:expandedMUXMLList><si:valueExpandedMUXMLList>0.05 0.05 0.06"
      "</si:valueExpandedMUXMLList><si:coverageFactorXMLList>2</"
      "si:coverageFactorXMLList><si:coverageProbabilityXMLList>0.95"
      "</si:coverageProbabilityXMLList></si:expandedMUXMLList></si:measurementUncertaintyUnivariateXMLList>";
  std::string statements;
  std::string behind;
};

std::string Document(const Parts& parts = {}) {
  return "<?xml version='1.0' encoding='UTF-8'?>" + parts.prologue +
         "<dcc:digitalCalibrationCertificate xmlns:dcc='https://ptb.de/dcc' xmlns:si='https://ptb.de/si' "
         "schemaVersion='" +
         parts.version +
         "'><dcc:administrativeData><dcc:coreData><dcc:uniqueIdentifier>LAB-1</dcc:uniqueIdentifier>"
         "<dcc:endPerformanceDate>2026-01-31</dcc:endPerformanceDate></"
         "dcc:coreData><dcc:items><dcc:item><dcc:identifications>"
         "<dcc:identification><dcc:issuer>manufacturer</dcc:issuer><dcc:value>REF-7</dcc:value></dcc:identification>"
         "</dcc:identifications></dcc:item></dcc:items><dcc:statements>" +
         parts.statements +
         "</dcc:statements>"
         "</dcc:administrativeData><dcc:measurementResults><dcc:measurementResult><dcc:results><dcc:result><dcc:data>"
         "<dcc:list refType='gp_table1'><dcc:quantity refType='basic_referenceValue'><si:hybrid><si:realListXMLList>"
         "<si:valueXMLList>273.162 323.149 "
         "373.158</si:valueXMLList><si:unitXMLList>\\kelvin</si:unitXMLList></si:realListXMLList>"
         "<si:realListXMLList><si:valueXMLList>" +
         parts.references +
         "</si:valueXMLList><si:unitXMLList>\\degreecelsius"
         "</si:unitXMLList></si:realListXMLList></si:hybrid></dcc:quantity><dcc:quantity refType='basic_measuredValue'>"
         "<si:realListXMLList><si:valueXMLList>" +
         parts.indications +
         "</si:valueXMLList><si:unitXMLList>\\degreecelsius"
         "</si:unitXMLList></si:realListXMLList></dcc:quantity><dcc:quantity refType='basic_measurementError'>"
         "<si:realListXMLList><si:valueXMLList>0.038 0.081 "
         "0.132</si:valueXMLList><si:unitXMLList>\\kelvin</si:unitXMLList>" +
         parts.uncertainty +
         "</si:realListXMLList></dcc:quantity></dcc:list></dcc:data></dcc:result></dcc:results>"
         "</dcc:measurementResult></dcc:measurementResults>" +
         parts.behind + "</dcc:digitalCalibrationCertificate>";
}

Result<ReferenceCertificate> Reference(const Parts& parts = {}) {
  return ReadDcc(Document(parts)).and_then([](const Certificate& c) { return ReferenceFrom(c, "°C"); });
}

class Dcc : public testing::Test {
 protected:
  void SetUp() override {
    if (!HasDcc()) GTEST_SKIP() << "built without certificates";
  }
};

TEST_F(Dcc, ReferenceCertificate_GivesCorrectionsBetweenItsPoints) {
  const auto reference = Reference();
  ASSERT_TRUE(reference) << reference.error().en;
  EXPECT_TRUE(reference->IsFor("REF-7"));
  EXPECT_EQ(reference->identifier, "LAB-1");
  EXPECT_EQ(reference->issue_date, "2026-01-31");
  EXPECT_NEAR(reference->At(50.08)->value, -0.081, 1e-12);
  EXPECT_NEAR(reference->At((50.08 + 100.14) / 2)->value, -(0.081 + 0.132) / 2, 1e-12);
  EXPECT_EQ(reference->At(75)->expanded, 0.06) << "the larger one of both neighbours";
  EXPECT_EQ(reference->At(20)->expanded, 0.05);
  EXPECT_FALSE(reference->At(102));
  EXPECT_FALSE(reference->At(-2));
}

TEST_F(Dcc, UncertaintiesOfEarlierVersions_AreTaken) {
  const Parts parts{.version = "3.1.2",
                    .uncertainty =
                        "<si:expandedUncXMLList><si:uncertaintyXMLList>0.061</si:uncertaintyXMLList>"
                        "<si:coverageFactorXMLList>2.1</si:coverageFactorXMLList></si:expandedUncXMLList>"};
  const auto reference = Reference(parts);
  ASSERT_TRUE(reference) << reference.error().en;
  EXPECT_EQ(reference->At(20)->expanded, 0.061);
  EXPECT_EQ(reference->At(20)->coverage_factor, 2.1);
}

TEST_F(Dcc, StatementsOfRangeAndRecalibration_AreKept) {
  const auto reference = Reference(
      {.statements =
           "<dcc:statement refType='basic_validityRange'><dcc:data><dcc:quantity refType='basic_validityRangeMax'>"
           "<si:real><si:value>353.15</si:value><si:unit>\\kelvin</si:unit></si:real></dcc:quantity></dcc:data>"
           "</dcc:statement><dcc:statement "
           "refType='basic_recalibration'><dcc:date>2027-01-31</dcc:date></dcc:statement>"});
  ASSERT_TRUE(reference) << reference.error().en;
  EXPECT_TRUE(reference->At(79));
  EXPECT_FALSE(reference->At(80.5)) << "a stated range has no margin";
  EXPECT_FALSE(reference->At(82)) << "behind the stated range";
  EXPECT_FALSE(reference->IsOverdue("2027-01-31"));
  EXPECT_TRUE(reference->IsOverdue("2027-02-01"));
}

TEST_F(Dcc, WhatIsNoCertificate_IsRefused) {
  for (const std::string& document :
       {std::string(), std::string("<a/>"), std::string("<a>"), std::string("no xml"), Document({.version = "2.4.0"}),
        Document({.version = "3.4.0"}), Document({.references = "0,012 49,999 100,008"}),
        Document({.references = "NaN 1 2"}), Document({.references = "inf 1 2"}), Document({.references = "0x10 1 2"}),
        Document({.references = "1e 1 2"}), Document({.behind = "<a>\x01</a>"}),
        Document({.behind = "<a>&undeclared;</a>"})}) {
    EXPECT_FALSE(ReadDcc(document)) << document.substr(0, 200);
  }
  const auto wrong = ReadDcc(Document({.references = "12 a 13"}));
  ASSERT_FALSE(wrong);
  EXPECT_EQ(wrong.error().en, "line 1: 'a' is no number");
}

TEST_F(Dcc, ListsThatContradictEachOther_AreNoReference) {
  EXPECT_TRUE(Reference({.references = "0.0120 49.999 100.01"})) << "within half the last digit";
  EXPECT_FALSE(Reference({.references = "0.052 49.999 100.008"})) << "not the kelvins, nor the error";
  EXPECT_FALSE(Reference({.indications = "0.05 50.08 100.34"})) << "not the error";
  const std::string three = "0.05 0.05 0.06";
  for (const char* expanded : {"0.05 0.05", "0.05 0.05 0.06 0.07", "1e999 0.05 0.06", "1e12 0.05 0.06"}) {
    Parts parts;
    parts.uncertainty.replace(parts.uncertainty.find(three), three.size(), expanded);
    EXPECT_FALSE(Reference(parts)) << expanded;
  }
}

TEST_F(Dcc, WhatTheCheckRefuses_IsNoReferenceFile) {
  const std::string file = (std::filesystem::temp_directory_path() / UniqueName("reference")).string();
  std::ofstream(file, std::ios::binary) << Document();
  const auto refused = LoadReferenceCertificate(file, "°C");
  std::filesystem::remove(file);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().en, "the certificate LAB-1 is faulty: dccSoftware is missing");
}

TEST_F(Dcc, DatesThatAreNotOfTheCalendar_AreRefused) {
  EXPECT_FALSE(Reference({.statements = "<dcc:statement refType='basic_recalibration'><dcc:date>2027-99-99</dcc:date>"
                                        "</dcc:statement>"}));
  EXPECT_FALSE(ReferenceFromTable("due;2027-02-30\nindication;correction;U\n0;0;1\n"));
}

TEST_F(Dcc, LongTags_AreRefusedBeforeTheParserSeesThem) {
  std::string attributes;
  for (int k = 0; k < 400'000; ++k) attributes += " a" + std::to_string(k) + "=''";
  const std::string tag = "<b" + attributes + "/>";
  const std::string quoted = "<b a='" + std::string(70'000, '>') + "'/>";
  for (const std::string& behind : {tag, "<!-- ' --><?p ' ?><![CDATA[']]>" + tag, "<a b='>'/>" + quoted}) {
    const auto began = std::chrono::steady_clock::now();
    const auto refused = ReadDcc(Document({.behind = behind}));
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().en.find("start tag"), std::string::npos) << refused.error().en;
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
  }
  std::string wide("\xFF\xFE", 2);
  for (const char c : "<a" + attributes + "/>") wide += {c, '\0'};
  EXPECT_FALSE(ReadDcc(wide));
  EXPECT_FALSE(ReadDcc("<?xml version='1.0' encoding='UTF-7'?><a/>"));
  const std::string text(100'000, '<');
  EXPECT_TRUE(ReadDcc(Document({.behind = "<!--" + text + "--><a><![CDATA[" + text + "]]></a>"})));
}

TEST_F(Dcc, ReferencesWithoutWhatIsNeeded_AreRefused) {
  EXPECT_FALSE(Reference({.uncertainty = ""}));
  EXPECT_FALSE(Reference({.indications = "1 2"})) << "fewer indications than reference values";
  EXPECT_FALSE(Reference({.indications = "1 1 2"})) << "two corrections for one indication";
  const auto certificate = ReadDcc(Document());
  EXPECT_FALSE(ReferenceFrom(*certificate, "kPa"));
}

// Entities could grow without limit or load files, so every document type declaration is refused.
TEST_F(Dcc, EntityBombs_AreRefusedAtOnce) {
  std::string bomb = "<!DOCTYPE x [<!ENTITY a0 'aaaaaaaaaaaaaaaaaaaa'>";
  for (int k = 1; k < 30; ++k) {
    const std::string before = "&a" + std::to_string(k - 1) + ";";
    bomb += "<!ENTITY a" + std::to_string(k) + " '" + before + before + before + before + "'>";
  }
  const auto began = std::chrono::steady_clock::now();
  const auto refused = ReadDcc(Document({.prologue = bomb + "]>", .behind = "<a>&a29;</a>"}));
  ASSERT_FALSE(refused);
  EXPECT_NE(refused.error().en.find("document type"), std::string::npos);
  EXPECT_FALSE(ReadDcc(Document({.prologue = "<!DOCTYPE x SYSTEM 'file:///etc/passwd'>"})));
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
}

TEST_F(Dcc, HugeDocuments_AreRefusedWithinBounds) {
  std::string many;
  for (std::size_t k = 0; k <= kMaxDccElements; ++k) many += "<a/>";
  EXPECT_FALSE(ReadDcc(Document({.behind = many})));
  std::string deep;
  for (int k = 0; k < 5000; ++k) deep += "<dcc:list>";
  EXPECT_FALSE(ReadDcc(Document({.behind = deep})));
  EXPECT_FALSE(ReadDcc(Document({.behind = std::string(kMaxDccBytes, ' ')})));
}

TEST(ReferenceTable, LinesOfATable_AreTaken) {
  const auto table = ReferenceFromTable(
      "# made by hand\ncertificate;LAB-2026-17\nserial;PT-4711\nissued;2026-01-10\ndue;2027-05-01\nk;2.05\n\n"
      "indication;reference;U\n100.14;100.008;0.06\n0.05;0.012;0.05\n");
  ASSERT_TRUE(table) << table.error().en;
  EXPECT_EQ(table->identifier, "LAB-2026-17");
  EXPECT_TRUE(table->IsFor("PT-4711"));
  EXPECT_NEAR(table->At(0.05)->value, -0.038, 1e-12);
  EXPECT_EQ(table->At(0.05)->coverage_factor, 2.05);
  EXPECT_TRUE(table->IsOverdue("2027-05-02"));
  EXPECT_NEAR(ReferenceFromTable("indication,correction,U,k\n1,0.5,0.1,3\n2,0.7,0.1,2\n")->At(1.5)->value, 0.6, 1e-12);
}

TEST(ReferenceTable, MistakesInATable_AreRefusedWithTheirLine) {
  const char* const head = "indication;reference;U\n";
  for (const auto& [text, message] : {std::pair{"", "the table has no points"},
                                      {"due;soon\n", "line 1 of the table: 'soon' is no date such as 2027-05-31"},
                                      {"1;2;x\n", "line 2 of the table: 'x' is no number that can stand here"},
                                      {"1;;0.1\n", "line 2 of the table: '' is no number that can stand here"},
                                      {"1;1;0\n", "line 2 of the table: '0' is no number that can stand here"},
                                      {"1;1;0.1\n1;2;0.1\n", "the certificate  has the indication 1 twice"}}) {
    const bool points = std::string(text).find(';') == 1;
    const auto refused = ReferenceFromTable((points ? head : "") + std::string(text));
    ASSERT_FALSE(refused) << text;
    EXPECT_EQ(refused.error().en, message);
  }
}

TEST(InstituteExample, CorrectionsOfItsTable_AreUsed) {
  SKIP_WITHOUT_SCHEMA(folder);
  const auto reference = LoadReferenceCertificate(folder + "/dcc_gp_temperature_typical_v12.xml", "°C");
  ASSERT_TRUE(reference) << reference.error().en;
  ASSERT_EQ(reference->points.size(), 5U);
  for (const auto& [at, correction] :
       {std::pair{33.17, -0.072}, {250.16, 0.009}, {(175.21 + 250.16) / 2, (-0.107 + 0.009) / 2}}) {
    EXPECT_NEAR(reference->At(at)->value, correction, 1e-9) << at;
  }
  EXPECT_EQ(reference->At(200)->expanded, 0.061);
  EXPECT_FALSE(reference->At(20)) << "below its first point";
  EXPECT_EQ(reference->due_date, "1959-10-22");
  EXPECT_NEAR(*reference->max_valid, 593 - 273.15, 1e-9);
  EXPECT_TRUE(reference->IsFor("string-manufacturer-item"));
}

TEST(Schema, ADocumentThatIsValid_HasNoFindings) {
  SKIP_WITHOUT_SCHEMA(folder);
  const auto document = ReadDocument(folder + "/valid-temperature.xml");
  const auto findings = CheckDccSchema(*document, folder + "/schema");
  ASSERT_TRUE(findings) << findings.error().en;
  EXPECT_TRUE(findings->empty()) << findings->front().en;
  std::string broken = *document;
  broken.replace(broken.find("<dcc:model>"), 11, "<dcc:modal>");
  broken.replace(broken.find("</dcc:model>"), 12, "</dcc:modal>");
  EXPECT_FALSE(CheckDccSchema(broken, folder + "/schema")->empty());
  EXPECT_FALSE(CheckDccSchema(*document, folder + "/nowhere"));
}

// A valid document is read and written again. The result is valid and has the same numbers.
TEST(WriteDcc, AValidDocumentReadAndWritten_IsStillValidAndHasItsNumbers) {
  SKIP_WITHOUT_SCHEMA(folder);
  const auto first = ReadDcc(*ReadDocument(folder + "/valid-temperature.xml"));
  ASSERT_TRUE(first) << first.error().en;
  const auto written = WriteDcc(*first);
  ASSERT_TRUE(written) << written.error().en;
  const auto findings = CheckDccSchema(*written, folder + "/schema");
  EXPECT_TRUE(findings->empty()) << findings->front().en;
  EXPECT_EQ(*WriteDcc(*ReadDcc(*written)), *written);
  const Certificate again = *ReadDcc(*written);
  const CertificateTable& table = again.measurements.at(0).results.at(0).tables.at(0);
  EXPECT_EQ(table.quantities.at(2).values.at(0).numbers, (std::vector<std::string>{"0.038", "0.081", "0.132"}));
  EXPECT_EQ(table.quantities.at(2).meta_data.at(0).conformity, (std::vector<std::string>{"pass", "pass", "fail"}));
}

TEST_F(Dcc, SignaturesThatCoverLess_AreRefused) {
  const auto signed_document = WithSignatureTemplate(Document());
  ASSERT_TRUE(signed_document);
  EXPECT_TRUE(CheckSignatureCoversAll(*signed_document));
  EXPECT_FALSE(CheckSignatureCoversAll(Document())) << "not signed";
  const auto with = [&](const std::string& from, const std::string& to) {
    std::string changed = *signed_document;
    changed.replace(changed.find(from), from.size(), to);
    return changed;
  };
  EXPECT_FALSE(CheckSignatureCoversAll(with("URI=\"\"", "URI=\"#part\"")));
  EXPECT_FALSE(CheckSignatureCoversAll(with("URI=\"\"", "")));
  EXPECT_FALSE(CheckSignatureCoversAll(
      with("http://www.w3.org/2000/09/xmldsig#enveloped-signature", "http://www.w3.org/TR/1999/REC-xpath-19991116")));
  EXPECT_FALSE(CheckSignatureCoversAll(*WithSignatureTemplate(*signed_document))) << "two signatures";
}

}  // namespace
}  // namespace ulix::calibration
