// A digital calibration certificate (DCC) as plain data: what its reader gives, its writer and its page take. Texts are
// UTF-8. Numbers stay the texts that the certificate has, so that nothing is rounded twice; they are checked when they
// are read. Elements that are not listed here are skipped by the reader.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "calibration/problem.h"

namespace ulix::calibration {

// One text in several languages.
struct MultilingualText {
  struct Content {
    std::string language;  // ISO 639-1, empty where the certificate has none
    std::string text;
  };
  std::vector<Content> contents;

  MultilingualText() = default;
  // The same for every language.
  MultilingualText(std::string text);           // NOLINT(google-explicit-constructor)
  MultilingualText(const BilingualText& text);  // NOLINT(google-explicit-constructor)
  MultilingualText(TextId id);                  // NOLINT(google-explicit-constructor)
  MultilingualText(std::string en, std::string fr);

  bool empty() const { return contents.empty(); }
  // In that language, else in English, else the first; all contents of the chosen language, joined by blanks.
  std::string In(std::string_view language) const;
};

struct CertificateIdentification {
  std::string issuer;  // manufacturer, calibrationLaboratory, customer, owner, other
  std::string value;
  MultilingualText name;
};

struct CertificateContact {
  MultilingualText name;
  std::string email, phone, fax;
  std::string street, street_number, post_code, city, state, country;
  MultilingualText further;
};

struct CertificateSoftware {
  MultilingualText name;
  std::string release, type;
};

// The digest of another document.
struct DocumentDigest {
  MultilingualText referral;  // what it is
  std::string referral_id;    // its identifier
  std::string procedure;      // SHA-256
  std::string value;
};

struct UncertaintyList {
  std::vector<std::string> expanded;  // one for all values, or one each
  std::vector<std::string> coverage_factor;
  std::vector<std::string> coverage_probability;
  std::vector<std::string> distribution;
};

// Values in one unit.
struct NumberList {
  std::vector<std::string> numbers;
  std::string unit;  // D-SI: "\\degreecelsius"
  std::optional<UncertaintyList> uncertainty;
};

struct CertificateStatement;

struct CertificateQuantity {
  std::string ref_type;  // names between blanks
  MultilingualText name;
  bool is_list = false;            // of si:realListXMLList, against a single si:real
  std::vector<NumberList> values;  // the same values in one or several units
  std::string text;                // of a quantity without numbers
  std::vector<CertificateStatement> meta_data;

  bool Has(std::string_view type) const;
};

// A statement on the certificate, or what is said of a quantity.
struct CertificateStatement {
  std::string ref_type;
  MultilingualText name;
  MultilingualText declaration;
  std::vector<std::string> norms, references;
  std::string date;
  MultilingualText authority;
  std::vector<std::string> conformity;
  bool conformity_is_list = false;
  std::vector<CertificateQuantity> quantities;

  bool Has(std::string_view type) const;
};

struct CertificateItem {
  MultilingualText name;
  MultilingualText description;
  MultilingualText manufacturer;
  std::string model;
  std::vector<CertificateIdentification> identifications;
};

struct CertificateEquipment {
  std::string ref_type;
  CertificateItem item;
  std::optional<DocumentDigest> certificate;
};

struct CertificatePerson {
  MultilingualText name;
  std::string role;
  bool main_signer = false;
};

struct CertificateMethod {
  std::string ref_type;
  MultilingualText name;
  MultilingualText description;
  std::vector<std::string> norms, references;
};

struct CertificateCondition {
  std::string ref_type;
  MultilingualText name;
  MultilingualText description;
  std::string status;  // beforeAdjustment, afterAdjustment, ...
  std::vector<CertificateQuantity> quantities;
};

// A table: quantities whose lists belong together, value by value.
struct CertificateTable {
  std::string ref_type;
  MultilingualText name;
  std::vector<std::string> date_times;
  std::vector<CertificateQuantity> quantities;
};

struct CertificateResult {
  std::string ref_type;
  MultilingualText name;
  MultilingualText description;
  std::vector<CertificateTable> tables;  // nested ones too, in the order of the document
  std::vector<CertificateQuantity> quantities;
};

struct CertificateMeasurement {
  MultilingualText name;
  MultilingualText description;
  std::vector<CertificateMethod> methods;
  std::vector<CertificateSoftware> software;
  std::vector<CertificateEquipment> equipment;
  std::vector<CertificateCondition> conditions;
  std::vector<CertificateResult> results;
};

struct Certificate {
  std::string schema_version;
  std::vector<CertificateSoftware> software;
  std::string country;
  std::vector<std::string> languages, mandatory_languages;
  std::string identifier;
  std::vector<CertificateIdentification> identifications;
  std::string begin_date, end_date, issue_date;  // YYYY-MM-DD
  std::string performance_location;
  std::vector<CertificateItem> items;
  std::string laboratory_code;
  CertificateContact laboratory;
  std::vector<CertificatePerson> persons;
  CertificateContact customer;
  std::vector<CertificateStatement> statements;
  std::vector<CertificateMeasurement> measurements;
  std::size_t signatures = 0;
};

// Whether `name` is one of the names between blanks.
bool HasRefType(std::string_view ref_types, std::string_view name);

// What is wrong with a certificate beyond its form, one text a finding: mandatory entries that are missing, dates out
// of order, tables whose lists differ in length, coverage factors below 1, negative uncertainties. Empty when all is
// well.
std::vector<Problem> CheckContent(const Certificate& certificate);

}  // namespace ulix::calibration
