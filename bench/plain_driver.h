// A driver without an instrument: what a measuring program does not measure is not there.
#pragma once

#include "drivers/driver.h"

namespace ulix::bench {

class PlainDriver : public Driver {
 public:
  explicit PlainDriver(const ModelCard& card) : Driver(card) {}
  HRESULT OpenLink() override { return S_OK; }
  bool LinkIsOpen() const override { return true; }
  HRESULT Connect() override { return S_OK; }
  void Disconnect() override {}
  Expected<std::string> Identify() override { return std::string(); }
  std::string CommInfo(Language) const override { return ""; }
  void ResetCommParams() override {}
  void SaveCommParams(VariantWriter&) const override {}
  HRESULT LoadCommParams(VariantReader&) override { return S_OK; }
  std::span<const ErrorRow> LinkErrors() const override { return {}; }
};

}  // namespace ulix::bench
