// The control class of every instrument: the automation interface of ulix::Instrument.
#pragma once

#include <atomic>
#include <memory>

#include "UlixInstrAx.h"
#include "controls/connection_points.h"
#include "controls/control_table.h"
#include "controls/dialogs/desktop.h"
#include "controls/hosting.h"
#include "controls/module.h"
#include "controls/typed_dispatch.h"
#include "core/instrument.h"
#include "platform/mutex.h"

namespace ulix::controls {

// Gives objects of this library access to the instrument inside an automation object.
struct IInstrumentAccess : IUnknown {
  virtual Instrument& Access() = 0;
  virtual IDispatch& Spec() = 0;  // the model's Spec interface
};
inline constexpr GUID kInstrumentAccessId = {
    0x6C1E52E0, 0x9B1B, 0x4B53, {0x8F, 0x0B, 0x5B, 0x0C, 0x2A, 0x7D, 0x00, 0x03}};

// Every model has a Spec interface of this form and a Debug interface of the form below. A model whose published Spec
// interface is empty has the property too, but no caller knows it.
struct ISpecForm : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_SetPointObject(IDispatch** object) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_SetPointObject(IDispatch* object) = 0;
  virtual HRESULT STDMETHODCALLTYPE putref_SetPointObject(IDispatch* object) = 0;
};
struct IDebugForm : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE DebugCreateCfgTest() = 0;
};

// A second dual interface of a control, with its own IDispatch. It shares the reference count and the identity of the
// control.
template <typename Form>
class ControlPart : public TypedDispatch<Form> {
 public:
  ControlPart(REFIID id, IUnknown& owner) : TypedDispatch<Form>(id), owner_(owner) {}
  STDMETHODIMP QueryInterface(REFIID id, void** object) override { return owner_.QueryInterface(id, object); }
  STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }

 private:
  IUnknown& owner_;
};

// Each member does what the member of ulix::Instrument with the same name does; only the types of the arguments differ.
// Output arguments are initialised first, and are empty on failure. Each failure sets the automation error information
// of the calling thread.
class Control final : public TypedDispatch<IUlixInstr>,
                      public ISupportErrorInfo,
                      public IConnectionPointContainer,
                      public IProvideClassInfo2,
                      public IPersistStreamInit,
                      public IPersistStorage,
                      public IPersistPropertyBag,
                      public IInstrumentAccess {
 public:
  explicit Control(const ControlRow& row);

  // IUnknown
  STDMETHODIMP QueryInterface(REFIID id, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IUlixInstr
  STDMETHODIMP get_Version(BSTR* version) override;
  STDMETHODIMP GetBinVersion(long* version_ms, long* version_ls, int* error) override;
  STDMETHODIMP GetDevVersion(BSTR* version) override;
  STDMETHODIMP GetDevFileVersion(BSTR* version) override;
  STDMETHODIMP get_Groups(VARIANT* groups) override;
  STDMETHODIMP get_InChans(long group, VARIANT* channels) override;
  STDMETHODIMP get_Period(long group, long* period) override;
  STDMETHODIMP get_DeadBand(long group, float* dead_band) override;
  STDMETHODIMP get_DeadBandAbs(long group, float* dead_band) override;
  STDMETHODIMP get_DeadTimeMax(long group, long* time) override;
  STDMETHODIMP get_OutChans(VARIANT* channels) override;
  STDMETHODIMP CreateGroup(long* group) override;
  STDMETHODIMP RemoveGroup(long group) override;
  STDMETHODIMP EditGroup(long group, int* result) override;
  STDMETHODIMP EditOutChans(int* result) override;
  STDMETHODIMP EditCommParams(int* result) override;
  STDMETHODIMP Connect() override;
  STDMETHODIMP Disconnect() override;
  STDMETHODIMP IsConnected(long* connected) override;
  STDMETHODIMP Identify(BSTR* identification) override;
  STDMETHODIMP EditCfg(int* result) override;
  STDMETHODIMP SendCfg() override;
  STDMETHODIMP ReadCfg() override;
  STDMETHODIMP GetChanDir(long channel, int* direction) override;
  STDMETHODIMP GetChanName(long channel, BSTR* name) override;
  STDMETHODIMP GetChanUnit(long channel, BSTR* unit) override;
  STDMETHODIMP GetChanResol(long channel, short* resolution) override;
  STDMETHODIMP GetChanLim(long channel, short index, float* limit, short* level) override;
  STDMETHODIMP RunGroup(long group) override;
  STDMETHODIMP StopGroup(long group) override;
  STDMETHODIMP IsGroupRunning(long group, long* running) override;
  STDMETHODIMP RunAllGroups() override;
  STDMETHODIMP StopAllGroups() override;
  STDMETHODIMP GetChansVals(VARIANT channels, VARIANT* values, VARIANT* errors, VARIANT* times) override;
  STDMETHODIMP SetChansVals(VARIANT channels, VARIANT values) override;
  STDMETHODIMP ImmediateReadGroups(VARIANT groups) override;
  STDMETHODIMP GetDevStatus(long* status) override;
  STDMETHODIMP GetErrorText(long error, long short_text, int* unknown, BSTR* text) override;
  STDMETHODIMP ShowProperties() override;
  STDMETHODIMP get_InstrType(BSTR* type) override;
  STDMETHODIMP GetChanDefName(long channel, BSTR* name) override;
  STDMETHODIMP get_UseConnected(long* use_connected) override;
  STDMETHODIMP HasCommParams(long* has) override;
  STDMETHODIMP HasCfg(long* has) override;
  STDMETHODIMP CfgHasInChans(long* has) override;
  STDMETHODIMP CfgHasOutChans(long* has) override;
  STDMETHODIMP Run() override;
  STDMETHODIMP Stop() override;
  STDMETHODIMP GetCommInfo(BSTR* info) override;
  STDMETHODIMP CanEditOutChans(long* can) override;
  STDMETHODIMP SetChanVal(long channel, VARIANT value) override;
  STDMETHODIMP RemoveGroupChan(long group, long channel) override;
  STDMETHODIMP ConnectGroupChan(long group, long channel) override;
  STDMETHODIMP GetCfgText(BSTR* text) override;
  STDMETHODIMP get_ExplKeyNum(short* number) override;
  STDMETHODIMP get_MemBlocks(VARIANT* blocks) override;
  STDMETHODIMP CfgHasMemBlocks(long* has) override;
  STDMETHODIMP GetMemBlockStatus(long block, long* size, long* records, long* destructive, long* recording) override;
  STDMETHODIMP ReadMemBlock(long block, long records_max, long clear, VARIANT* channels, VARIANT* values,
                            VARIANT* errors, VARIANT* times, long* records_read) override;
  STDMETHODIMP ClearMemBlock(long block, long records) override;
  STDMETHODIMP GetMemBlockName(long block, BSTR* name) override;
  STDMETHODIMP GetMemBlockSize(long block, long* size) override;
  STDMETHODIMP GetMemBlockCyclePeriod(long block, long* cycle_records, long* cycle_period) override;

  // ISupportErrorInfo
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) override;

  // IConnectionPointContainer
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override;
  STDMETHODIMP FindConnectionPoint(REFIID id, IConnectionPoint** point) override;

  // IProvideClassInfo2
  STDMETHODIMP GetClassInfo(ITypeInfo** info) override;
  STDMETHODIMP GetGUID(DWORD kind, GUID* id) override;

  // IPersistStreamInit, IPersistStorage, IPersistPropertyBag
  STDMETHODIMP GetClassID(CLSID* id) override;
  STDMETHODIMP IsDirty() override;
  STDMETHODIMP Load(IStream* stream) override;
  STDMETHODIMP Save(IStream* stream, BOOL clear_dirty) override;
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;
  STDMETHODIMP InitNew() override;
  STDMETHODIMP InitNew(IStorage* storage) override;
  STDMETHODIMP Load(IStorage* storage) override;
  STDMETHODIMP Save(IStorage* storage, BOOL same_as_load) override;
  STDMETHODIMP SaveCompleted(IStorage* storage) override;
  STDMETHODIMP HandsOffStorage() override;
  STDMETHODIMP Load(IPropertyBag* bag, IErrorLog* log) override;
  STDMETHODIMP Save(IPropertyBag* bag, BOOL clear_dirty, BOOL save_all) override;

  // IInstrumentAccess
  Instrument& Access() override { return *instrument_; }
  IDispatch& Spec() override { return spec_; }

 private:
  ~Control() = default;

  class SpecPart final : public ControlPart<ISpecForm> {
   public:
    SpecPart(REFIID id, Control& owner) : ControlPart(id, static_cast<IUlixInstr&>(owner)), control_(owner) {}
    STDMETHODIMP get_SetPointObject(IDispatch** object) override;
    STDMETHODIMP put_SetPointObject(IDispatch* object) override;
    STDMETHODIMP putref_SetPointObject(IDispatch* object) override { return put_SetPointObject(object); }

   private:
    Control& control_;
    platform::Mutex mutex_;
    ComPtr<IDispatch> object_;  // the host's object that the instrument calls; guarded by mutex_
  };

  class DebugPart final : public ControlPart<IDebugForm> {
   public:
    DebugPart(REFIID id, Control& owner) : ControlPart(id, static_cast<IUlixInstr&>(owner)), control_(owner) {}
    STDMETHODIMP DebugCreateCfgTest() override { return control_.CreateTestConfiguration(); }

   private:
    Control& control_;
  };

  void* Find(REFIID id);
  HostedControl HostedFaceOf(const ControlRow& row);
  HRESULT CreateTestConfiguration();
  // Ends a member: sets the automation error information of a failure. Returns `result`.
  HRESULT ReportIfFailed(HRESULT result) const noexcept;
  // Runs the body of a member. Turns an exception into an error code.
  template <typename Body>
  HRESULT Member(Body&& body);
  template <typename Native, typename Place, typename Ask>
  HRESULT Answer(Place* place, Ask&& ask);
  template <typename Ask>
  HRESULT AnswerText(BSTR* place, Ask&& ask);
  template <typename Ask>
  HRESULT AnswerIds(VARIANT* place, Ask&& ask);

  const InUse in_use_;
  std::atomic<ULONG> references_ = 1;
  const ControlRow& row_;
  Desktop desktop_;
  std::unique_ptr<Instrument> instrument_;
  EventsPoint events_;
  SpecPart spec_;
  DebugPart debug_;
  Hosting hosting_;
};

}  // namespace ulix::controls
