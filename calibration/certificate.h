// A digital calibration certificate (DCC) as plain data. The reader makes this data; the writer and the page use it.
// Texts are UTF-8. Numbers are stored as the texts in the certificate, so that nothing is rounded twice; the reader
// checks them. The reader skips elements that have no field here.
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
    std::string language;  // ISO 639-1; empty if the certificate names none
    std::string text;
  };
  std::vector<Content> contents;

  MultilingualText() = default;
  // The same text for every language.
  MultilingualText(std::string text);           // NOLINT(google-explicit-constructor)
  MultilingualText(const BilingualText& text);  // NOLINT(google-explicit-constructor)
  MultilingualText(TextId id);                  // NOLINT(google-explicit-constructor)
  MultilingualText(std::string en, std::string fr);

  bool empty() const { return contents.empty(); }
  // The text in that language, else in English, else in the first one. Several contents of that language are joined by
  // blanks.
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
  MultilingualText referral;  // what the document is
  std::string referral_id;    // identifier of the document
  std::string procedure;      // SHA-256
  std::string value;
};

struct UncertaintyList {
  std::vector<std::string> expanded;  // one for all values, or one for each
  std::vector<std::string> coverage_factor;
  std::vector<std::string> coverage_probability;
  std::vector<std::string> distribution;
};

// Values in one unit.
struct NumberList {
  std::vector<std::string> numbers;
  std::string unit;  // in D-SI notation: "\\degreecelsius"
  std::optional<UncertaintyList> uncertainty;
};

struct CertificateStatement;

struct CertificateQuantity {
  std::string ref_type;  // names separated by blanks
  MultilingualText name;
  bool is_list = false;            // si:realListXMLList; false: a single si:real
  std::vector<NumberList> values;  // the same values in one or several units
  MultilingualText text;           // text of a quantity without numbers
  std::vector<CertificateStatement> meta_data;

  bool Has(std::string_view type) const;
};

// A statement about the certificate or about a quantity.
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

// A table: quantities whose values with the same index belong together.
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
  std::vector<CertificateTable> tables;  // including nested ones, in the order of the document
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

// Whether `name` is one of the names in `ref_types`, which are separated by blanks.
bool HasRefType(std::string_view ref_types, std::string_view name);

// Checks the content of a certificate. Returns one text for each finding: missing mandatory entries, dates in the wrong
// order, tables whose lists differ in length, coverage factors below 1, negative uncertainties. Empty without findings.
std::vector<Problem> CheckContent(const Certificate& certificate);

}  // namespace ulix::calibration
