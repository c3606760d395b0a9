// An instrument control: the one interface behind which every model stands.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "base/byte_stream.h"
#include "base/value.h"
#include "core/channel_arrays.h"
#include "core/error_info.h"
#include "core/events.h"
#include "core/group_settings.h"
#include "core/record_sink.h"
#include "core/user_interface.h"
#include "drivers/driver.h"

namespace ulix {

class AcqGroup;
struct ControlState;

// Members carry the names of the automation interface and return its codes. Common to all of them:
//  - They check in this order: null pointers, scalar ids, array lengths (E_INVALIDARG); the connection, where the
//  member
//    needs the instrument (E_UNEXPECTED); the ids inside arrays (E_INVALIDARG). Then the instrument is asked.
//  - A failure leaves the instrument as it was, except that a failed Connect closes the link; it sets the calling
//  thread's
//    error information (core/error_info.h). An exception inside becomes the control's exception code.
//  - Any thread may call any member, also from inside an event.
//  - Texts are Windows-1252. Booleans are 1 and 0. Periods are milliseconds, times of dead bands whole seconds.
class Instrument {
 public:
  struct Options {
    Clock* clock = &SystemClock();
    Language language = Language::kEnglish;
    UserInterface* user_interface = nullptr;  // none: every dialog answers Cancel
  };

  explicit Instrument(std::unique_ptr<Driver> driver) : Instrument(std::move(driver), Options{}) {}
  Instrument(std::unique_ptr<Driver> driver, Options options);
  // Stops and removes the groups, hands the instrument back if it was connected. Bounded, also inside an event.
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  // --- versions and texts ---
  HRESULT Version(std::string* version);
  HRESULT GetBinVersion(std::uint32_t* version_ms, std::uint32_t* version_ls, std::int32_t* error);
  HRESULT GetDevVersion(std::string* version);  // asks the instrument
  HRESULT GetDevFileVersion(std::string* version);
  HRESULT InstrType(std::string* type);
  HRESULT GetCfgText(std::string* text);
  HRESULT GetCommInfo(std::string* info);
  HRESULT ExplKeyNum(std::int16_t* number);
  // `unknown` is 1 and `text` empty for a code that is neither the control's nor its link's.
  HRESULT GetErrorText(HRESULT error, bool short_text, std::int32_t* unknown, std::string* text);

  // --- link and instrument ---
  HRESULT Connect();
  HRESULT Disconnect();
  HRESULT IsConnected(std::int32_t* connected);
  HRESULT Identify(std::string* identification);  // the text is set, empty, also on failure
  // Of an instrument with a program: the program, to and from the file that the configuration names. Where it names
  // none, the person is asked, kCancelled when that person gives up; the file chosen becomes part of the configuration.
  // Where nobody can be asked, the program is read without a file.
  HRESULT SendCfg();
  HRESULT ReadCfg();
  HRESULT Run();
  HRESULT Stop();
  HRESULT GetDevStatus(std::uint32_t* status);
  HRESULT UseConnected(std::int32_t* use_connected);

  // --- channels ---
  HRESULT GetChanDir(ChannelId channel, std::int32_t* direction);
  HRESULT GetChanName(ChannelId channel, std::string* name);
  HRESULT GetChanDefName(ChannelId channel, std::string* name);
  HRESULT GetChanUnit(ChannelId channel, std::string* unit);          // "" for an unknown channel
  HRESULT GetChanResol(ChannelId channel, std::int16_t* resolution);  // decimals; 6 for an unknown channel
  HRESULT GetChanLim(ChannelId channel, std::int16_t index, float* limit, std::int16_t* level);
  HRESULT OutChans(std::vector<ChannelId>* channels);
  // The records' last values; no exchange with the instrument.
  HRESULT GetChansVals(std::span<const ChannelId> channels, ChannelArrays* arrays);
  HRESULT SetChanVal(ChannelId channel, const Value& value);
  HRESULT SetChansVals(std::span<const ChannelId> channels, std::span<const Value> values);

  // --- groups ---
  HRESULT Groups(std::vector<std::uint32_t>* groups);
  HRESULT CreateGroup(std::uint32_t* group);
  HRESULT RemoveGroup(std::uint32_t group);
  HRESULT InChans(std::uint32_t group, std::vector<ChannelId>* channels);
  HRESULT Period(std::uint32_t group, std::uint32_t* period);
  HRESULT DeadBand(std::uint32_t group, float* dead_band);
  HRESULT DeadBandAbs(std::uint32_t group, float* dead_band);
  HRESULT DeadTimeMax(std::uint32_t group, std::uint32_t* time);
  HRESULT ConnectGroupChan(std::uint32_t group, ChannelId channel);
  HRESULT RemoveGroupChan(std::uint32_t group, ChannelId channel);
  HRESULT RunGroup(std::uint32_t group);
  HRESULT StopGroup(std::uint32_t group);
  HRESULT IsGroupRunning(std::uint32_t group, std::int32_t* running);
  HRESULT RunAllGroups();
  HRESULT StopAllGroups();
  HRESULT ImmediateReadGroups(std::span<const std::uint32_t> groups);

  // --- dialogs; `result` is 1 for OK, 2 for Cancel ---
  HRESULT EditGroup(std::uint32_t group, std::int32_t* result);
  HRESULT EditOutChans(std::int32_t* result);
  HRESULT EditCommParams(std::int32_t* result);
  HRESULT EditCfg(std::int32_t* result);
  HRESULT ShowProperties();

  // --- capabilities, from the model's tables ---
  HRESULT HasCommParams(std::int32_t* has);
  HRESULT HasCfg(std::int32_t* has);
  HRESULT CfgHasInChans(std::int32_t* has);
  HRESULT CfgHasOutChans(std::int32_t* has);
  HRESULT CanEditOutChans(std::int32_t* can);

  // --- recorded memory; a model without memory has no blocks, and every block id is unknown ---
  // Ids go from 0 to 99; the cycle period alone takes 100. A long read tells its progress to the sinks and to the user
  // interface, which may stop it: it then succeeds with no records. The last step told is 100.
  HRESULT MemBlocks(std::vector<std::uint32_t>* blocks);
  HRESULT CfgHasMemBlocks(std::int32_t* has);
  HRESULT GetMemBlockStatus(std::int32_t block, std::uint32_t* size, std::uint32_t* records,
                            std::int32_t* destructive_reading, std::int32_t* recording);
  HRESULT ReadMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, ChannelArrays* arrays,
                       std::uint32_t* records_read);
  HRESULT ClearMemBlock(std::int32_t block, std::uint32_t records);
  HRESULT GetMemBlockName(std::int32_t block, std::string* name);
  HRESULT GetMemBlockSize(std::int32_t block, std::uint32_t* size);
  HRESULT GetMemBlockCyclePeriod(std::int32_t block, std::uint32_t* cycle_records, std::uint32_t* cycle_period);

  // === Beyond the automation interface ===

  // The defaults: settings, link, directions; no groups.
  HRESULT InitNew();
  // The configuration stream: versions, settings, link, groups, ids, directions. Loading resets first, stops the groups
  // and starts none; only a stream that does not begin with two version words is refused (E_INVALIDARG, defaults kept),
  // anything wrong later cuts the load there.
  // A save that fails, also at the `tail`, bytes of the caller's own that follow the configuration, leaves it dirty.
  HRESULT Save(ByteStream& stream, std::string_view tail = {});
  HRESULT SaveCopy(ByteStream& stream);  // the same stream; what was dirty stays so
  HRESULT Load(ByteStream& stream);
  bool IsDirty() const;
  void MarkDirty();
  // What error information says of a code; empty for codes that have no text.
  std::string DescriptionOf(HRESULT code) const;

  // ReadMemBlock without the arrays: the records go to a sink as they come, of which no more are held than one exchange
  // brings.
  HRESULT StreamMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, RecordSink& sink,
                         std::uint32_t* records_read);

  // The instrument's program and files of it; E_NOTIMPL for a model without one. Transfers connect when need be, and
  // then disconnect at the end. They tell their progress as long reads do; stopped, they are kCancelled.
  // CheckProgram asks no instrument: is the file one of the model's, and can all of it be sent?
  HRESULT CheckProgram(const std::string& path, std::uint32_t* records);
  HRESULT SendProgram(const std::string& path);
  // The file is replaced only when all of the program was read.
  HRESULT ReadProgram(const std::string& path);
  // What a person is asked who is to choose the file of a setting; none for a setting that names no file.
  std::optional<FileQuestion> FileQuestionOf(const SettingRow& row) const;

  // Asks the instrument which channels it has, where the model leaves that to it. Needs the connection.
  HRESULT RefreshChannels();
  // Where set points go of a model and a configuration that forward them (drivers/set_point_forwarding.h); an empty one
  // takes the object away. E_NOTIMPL for a model that forwards none.
  HRESULT SetSetPointObject(SetPointObject object);
  // A query as a person typed it, and its reply as it comes; without a place for a reply, a command. Needs the
  // connection; E_NOTIMPL where the instrument is not talked to in lines.
  HRESULT RawQuery(std::string_view text, std::string* reply);
  // Why the link could not be opened, where more is known than the code says.
  platform::OpenFailure LinkFailure() const;
  // Whether this machine has what the link needs besides the instrument; if not, the code that says what is missing.
  HRESULT CheckLink();
  // Whether the device is still on its line: S_OK, or the code that a reading would fail with. No exchange, no wait.
  HRESULT CheckPresence();
  // Where the instrument is on a network; none while its link is a serial one; E_NOTIMPL for a model that is on none.
  HRESULT GetNetworkAddress(std::optional<NetworkAddress>* address);
  HRESULT SetNetworkAddress(const std::optional<NetworkAddress>& address);
  // What the session with the instrument counted since the control was made.
  SessionStatistics Statistics() const;
  // The rates that its serial line can have.
  std::span<const std::uint32_t> BaudRates() const;

  // Settings of a group; E_INVALIDARG for an unknown one, or a dead band that is no finite number.
  HRESULT GetGroupSettings(std::uint32_t group, GroupSettings* settings);
  HRESULT SetGroupSettings(std::uint32_t group, const GroupSettings& settings);
  // The configuration record.
  Settings& settings();
  // The serial link's settings, taken at its next open; E_NOTIMPL for a model without a serial link.
  HRESULT GetSerialParams(SerialParams* params);
  HRESULT SetSerialParams(const SerialParams& params);
  // Whether the instrument has the channel, the way it is set: models that are several instruments differ in that.
  bool OffersChannel(ChannelId channel) const;
  // Whether such a channel is switched on.
  bool IsChannelOn(ChannelId channel) const;
  EventSinks& events();
  const ModelCard& card() const;

 private:
  // Runs a member's body: no exception leaves it, and a failure sets the error information.
  template <typename Body>
  HRESULT Member(Body&& body);
  template <typename Body>
  HRESULT Guarded(Body&& body);
  // Sets the calling thread's error information; without a text when there is no memory for one.
  void DescribeFailure(HRESULT code) const noexcept;
  template <typename Body>
  HRESULT WithGroup(std::uint32_t id, Body&& body);
  template <typename Ask>
  HRESULT AskUser(std::int32_t* result, Ask&& ask);
  template <typename Act>
  HRESULT WhenConnected(Act&& act);
  std::shared_ptr<AcqGroup> FindGroup(std::uint32_t id) const;
  std::vector<std::shared_ptr<AcqGroup>> GroupList() const;
  std::shared_ptr<AcqGroup> FirstActiveGroup() const;
  std::uint32_t HighestGroup() const;
  void StopGroups();
  void EndGroups();
  std::vector<ChannelId> ChannelsWhere(bool (*wanted)(std::int32_t direction)) const;
  bool HasChannel(bool (*wanted)(std::int32_t direction)) const;
  template <typename T>
  HRESULT GetGroupSetting(std::uint32_t group, T GroupSettings::*setting, T* place);
  HRESULT SetGroupMember(std::uint32_t group, ChannelId channel, bool member);
  HRESULT CheckOutput(ChannelId channel) const;
  HRESULT AskText(std::string* text, Expected<std::string> (Driver::*ask)());
  Progress ProgressTeller();
  template <typename Body>
  HRESULT WithBlock(std::int32_t block, std::int32_t last, bool places_given, Body&& body);
  template <typename Transfer>
  HRESULT WithProgram(Transfer&& transfer);
  const SettingRow* ProgramFileRow() const;
  Expected<std::string> ProgramFile(bool to_write);
  HRESULT SendOwnProgram(ProgramTransfer& program);
  HRESULT ReadOwnProgram(ProgramTransfer& program);
  class SettingsWatch;
  HRESULT SendValue(ChannelId channel, float value);

  void ResetToDefaults();
  void MarkClean() { saved_changes_ = changes_.load(); }
  HRESULT WriteConfiguration(ByteStream& stream) const;
  HRESULT LoadRows(VariantReader& reader);
  HRESULT LoadGroups(VariantReader& reader);

  const std::shared_ptr<ControlState> control_;
  const Options options_;
  std::atomic<bool> connected_ = false;
  std::atomic<std::uint64_t> changes_ = 0;        // of what a stream keeps, so far
  std::atomic<std::uint64_t> saved_changes_ = 0;  // those that the last save, load or reset has
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<AcqGroup>> groups_;  // guarded by mutex_, in creation order
  std::uint32_t highest_group_ = 0;                // guarded by mutex_
};

}  // namespace ulix
