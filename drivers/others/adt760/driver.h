// Additel ADT760 pressure calibrator on USB: pressures and an electrical input are read, pressure, current and vent
// set.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "drivers/others/adt760/tables.h"
#include "drivers/reply_ledger.h"
#include "links/usb_link.h"

namespace ulix::adt760 {

class Adt760Driver final : public Driver {
 public:
  explicit Adt760Driver(DriverServices services);

  HRESULT OpenLink() override;
  bool LinkIsOpen() const override;
  HRESULT CheckLink() override;
  HRESULT Connect() override;
  void Disconnect() override;
  Expected<std::string> Identify() override;
  // The configuration is this side's alone; nothing goes over the link.
  HRESULT SendCfg() override { return S_OK; }
  HRESULT ReadCfg() override { return S_OK; }
  // adt760CtlErrChNum for a channel that is none or, when writing, an input.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  // The device that the configuration names, or the one that is open. "GUID:... VENDOR_ID:... PRODUCT_ID:...".
  std::string CommInfo(Language language) const override;
  // What names the device is among the settings.
  void ResetCommParams() override {}
  void SaveCommParams(VariantWriter&) const override {}
  HRESULT LoadCommParams(VariantReader&) override { return S_OK; }
  std::span<const ErrorRow> LinkErrors() const override;

  // The last answer to "SYST:ERR?", as it came.
  std::string LastError() const;

 private:
  HRESULT Greet();
  HRESULT HaveLinkBack();
  // All that goes out. A device that cannot be written to is taken to be gone: each later exchange tries once to have
  // it back, with the words of the connection when it was connected.
  HRESULT Send(std::string_view text);
  HRESULT NoteLoss(HRESULT result);
  bool WantsToKnow() const;  // which instrument is there
  // An operation of several exchanges, with the line in step before its first word: a reply that is owed may still come
  // and would pass for the next one's. Where one in the middle was somebody else's, all of it is done again: the error
  // queue can be asked only once.
  HRESULT InStep(const std::function<HRESULT()>& operation);
  HRESULT BringInStep();
  HRESULT Put(std::string_view query, ReplyKind kind);
  // In step: a query and its reply.
  Expected<std::string> Ask(std::string_view query);
  // With an error queue that was cleared.
  Expected<std::string> AskAnew(std::string_view query);
  // Out of step: a query of that kind and the next reply of the kind, or, for a plain one, the last landmark that was
  // asked before. It may answer an earlier query of the kind.
  Expected<std::string> Probe(ReplyKind kind);
  Expected<std::string> Await(ReplyKind kind);
  Deadline Patience() const;

  Expected<float> Measure(ChannelId id);
  Expected<const ElectricalFunction*> AskFunction();
  HRESULT ReadErrorQueue();
  UsbIdentity Wanted() const;

  Clock& clock_;

  // Guarded by the exchange lock.
  UsbLink link_;
  bool greeted_ = false;
  bool lost_ = false;
  bool formal_ = false;  // greeting
  bool stray_ = false;   // a reply was somebody else's
  ReplyLedger owed_;
  std::string last_error_;

  std::atomic<const ElectricalFunction*> function_{&kFunctions[3]};  // that the electrical input last told
};

}  // namespace ulix::adt760
