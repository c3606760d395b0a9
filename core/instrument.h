// An instrument control: the interface of every model.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/byte_stream.h"
#include "base/value.h"
#include "core/error_info.h"
#include "core/events.h"
#include "core/group_settings.h"
#include "core/record_sink.h"
#include "core/user_interface.h"
#include "drivers/channel_arrays.h"
#include "drivers/driver.h"
#include "platform/mutex.h"

namespace ulix {

class AcqGroup;
struct ControlState;

// The members carry the names of the automation interface and return its codes. Rules for all of them:
//
// Checks. A member checks its arguments first: null pointers, single ids and array lengths give E_INVALIDARG. Then it
// checks the connection: a member that needs the instrument gives E_UNEXPECTED without one. Then it checks the ids
// inside arrays: an unknown one gives E_INVALIDARG. Only then is the instrument asked.
//
// Errors. A failure changes nothing, except that a failed Connect closes the link. It sets the calling thread's error
// information (core/error_info.h). An exception inside becomes E_OUTOFMEMORY or the control's exception code. A failed
// exchange gives the code of its link ("serialCommErr...", "networkCommErr...", "winUsbCommErr...") or of the model.
//
// Threads. Any thread may call any member, also from inside an event. Exchanges with the instrument wait for each
// other.
//
// Types. Texts are Windows-1252. Booleans are 1 and 0. Channel ids count from 0, group ids from 1.
//
//   Instrument instrument(FindModel("kelvo10")->create({}));
//   HRESULT result = instrument.SetSerialParams({.port = 5});
//   if (Succeeded(result)) result = instrument.Connect();
//   std::uint32_t group = 0;
//   if (Succeeded(result)) result = instrument.CreateGroup(&group);
//   if (Succeeded(result)) result = instrument.ConnectGroupChan(group, 0);
//   if (Succeeded(result)) result = instrument.ImmediateReadGroups(std::vector{group});
//   ChannelArrays read;
//   if (Succeeded(result)) result = instrument.GetChansVals(std::vector<ChannelId>{0}, &read);
//   if (Failed(result)) std::puts(TakeErrorInfo().description.c_str());
class Instrument {
 public:
  struct Options {
    Clock* clock = &SystemClock();            // Must outlive the instrument.
    Language language = Language::kEnglish;   // Of all texts that the members give.
    UserInterface* user_interface = nullptr;  // Must outlive the instrument. Null: every dialog gives Cancel.
  };

  explicit Instrument(std::unique_ptr<Driver> driver) : Instrument(std::move(driver), Options{}) {}
  Instrument(std::unique_ptr<Driver> driver, Options options);
  // Stops and removes the groups and disconnects. Waits at most about a second for each thread of a group. May be
  // called inside an event of a group.
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  // --- versions and texts; only GetDevVersion asks the instrument ---

  // The library's version: "1.0.0.0".
  HRESULT Version(std::string* version);
  // The library's version as two numbers: major (high 16 bits) and minor part, then the other two parts. `error` is
  // always 0.
  HRESULT GetBinVersion(std::uint32_t* version_ms, std::uint32_t* version_ls, std::int32_t* error);
  // The instrument's version in the model's own form. Empty on failure.
  HRESULT GetDevVersion(std::string* version);
  // Always empty.
  HRESULT GetDevFileVersion(std::string* version);
  // The model's display name: "Kelvo10".
  HRESULT InstrType(std::string* type);
  // A fixed placeholder of the published interface.
  HRESULT GetCfgText(std::string* text);
  // The one-line summary of the link: "COM 5:CMX310 (9600 bds , 8 Data Bits , ...)" for a serial line.
  HRESULT GetCommInfo(std::string* info);
  // A number of the published interface, from the model card.
  HRESULT ExplKeyNum(std::int16_t* number);
  // The text of a code, long or short. For a code that is neither the control's nor its link's, the text is empty and
  // `unknown` is 1.
  HRESULT GetErrorText(HRESULT error, bool short_text, std::int32_t* unknown, std::string* text);
  // The long text of a code in the given language, in Windows-1252. Empty for a code that is neither the control's nor
  // its link's.
  std::string ErrorTextIn(Language language, HRESULT error) const;

  // --- link and instrument ---

  // Opens the link and identifies the instrument. An instrument of another type gives the model's "CtlErrNot..." code.
  // S_OK when already connected. DevError or SysError is fired for a failure. With a user interface, a port that opened
  // only after several attempts is warned of.
  HRESULT Connect();
  // Stops all groups, ends the session and closes the link. Ends the waits of other threads. Always S_OK.
  HRESULT Disconnect();
  // Whether the host is connected. This stays 1 after the link is lost; CheckPresence tells of the loss.
  HRESULT IsConnected(std::int32_t* connected);
  // The instrument's identity. Empty on failure.
  HRESULT Identify(std::string* identification);
  // Sends the configuration record to the instrument, and reads it from the instrument. For an instrument with a
  // program they transfer the program instead, from and to the file that the configuration names. When it names none,
  // the user is asked and the chosen file becomes part of the configuration; kCancelled when the user cancels. Without
  // a user interface ReadCfg reads the program without a file.
  HRESULT SendCfg();
  HRESULT ReadCfg();
  // Starts and stops the instrument, for models that have such commands.
  HRESULT Run();
  HRESULT Stop();
  // Always 0.
  HRESULT GetDevStatus(std::uint32_t* status);
  // Always 0.
  HRESULT UseConnected(std::int32_t* use_connected);

  // --- channels ---

  // -1 input, 0 input and output, 1 output.
  HRESULT GetChanDir(ChannelId channel, std::int32_t* direction);
  HRESULT GetChanName(ChannelId channel, std::string* name);
  HRESULT GetChanDefName(ChannelId channel, std::string* name);
  // The unit of the last reading, or of the settings. "" for an unknown channel.
  HRESULT GetChanUnit(ChannelId channel, std::string* unit);
  // Decimals to show. 6 for an unknown channel.
  HRESULT GetChanResol(ChannelId channel, std::int16_t* resolution);
  // The alarm limit number `index` of a channel; level 0 when it has none, -1 a low limit, 1 a high one.
  HRESULT GetChanLim(ChannelId channel, std::int16_t index, float* limit, std::int16_t* level);
  // All channels that can be written.
  HRESULT OutChans(std::vector<ChannelId>* channels);
  // The last value, error and time of each channel. Nothing is sent to the instrument.
  HRESULT GetChansVals(std::span<const ChannelId> channels, ChannelArrays* arrays);
  // Reads one channel now, on the calling thread, and returns its record. The call waits for the exchange. No group
  // takes part and no event is fired. The error of a failed reading is in the record, as after a scan. E_INVALIDARG for
  // a channel that cannot be read.
  HRESULT ReadChan(ChannelId channel, GroupChannel* record);
  // Writes output channels, in channel units. A value that is not a finite number gives E_INVALIDARG. An input gives
  // the model's code. SetChansVals checks all values and ids before it sends the first one; it stops at the first
  // failure.
  HRESULT SetChanVal(ChannelId channel, const Value& value);
  HRESULT SetChansVals(std::span<const ChannelId> channels, std::span<const Value> values);

  // --- groups; an unknown group gives E_INVALIDARG ---

  HRESULT Groups(std::vector<std::uint32_t>* groups);
  // Ids count from 1 and are never used again. E_UNEXPECTED when no id is left, or at 65535 groups.
  HRESULT CreateGroup(std::uint32_t* group);
  // Stops the group first.
  HRESULT RemoveGroup(std::uint32_t group);
  // The channels that the group scans.
  HRESULT InChans(std::uint32_t group, std::vector<ChannelId>* channels);
  // Period in milliseconds, dead bands in percent and in channel units, max report interval in whole seconds.
  HRESULT Period(std::uint32_t group, std::uint32_t* period);
  HRESULT DeadBand(std::uint32_t group, float* dead_band);
  HRESULT DeadBandAbs(std::uint32_t group, float* dead_band);
  HRESULT DeadTimeMax(std::uint32_t group, std::uint32_t* time);
  // Add a channel to a group and remove it. Only a channel that can be read is accepted.
  HRESULT ConnectGroupChan(std::uint32_t group, ChannelId channel);
  HRESULT RemoveGroupChan(std::uint32_t group, ChannelId channel);
  // Starts the group's threads; the first scan comes one period later. S_OK when it runs already. Does not check the
  // connection: the scan thread opens the link, and each scan reports its errors.
  HRESULT RunGroup(std::uint32_t group);
  // Waits at most about a second for each of the two threads. Nothing is fired afterwards. S_OK when it does not run.
  HRESULT StopGroup(std::uint32_t group);
  HRESULT IsGroupRunning(std::uint32_t group, std::int32_t* running);
  HRESULT RunAllGroups();
  HRESULT StopAllGroups();
  // Scans groups now, in order, and reports them. A running group scans soon and the call does not wait for it. For a
  // stopped group the call waits for the scan, at most one period and two seconds. Groups before an unknown id are
  // read.
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
  // Block ids go from 0 to 99; only the cycle period also accepts 100. A long read reports its progress, from 0 to 100
  // percent, to the sinks and to the user interface. The user may stop it: it then succeeds with no records.

  HRESULT MemBlocks(std::vector<std::uint32_t>* blocks);
  HRESULT CfgHasMemBlocks(std::int32_t* has);
  // `size` is the block's capacity and `records` its content, both in records.
  HRESULT GetMemBlockStatus(std::int32_t block, std::uint32_t* size, std::uint32_t* records,
                            std::int32_t* destructive_reading, std::int32_t* recording);
  // Reads the newest `records_max` records, oldest first; 0 reads all. `clear` clears the records read, but only when
  // all are read. When only the clearing fails, the arrays hold the records and the result is the failure.
  HRESULT ReadMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, ChannelArrays* arrays,
                       std::uint32_t* records_read);
  HRESULT ClearMemBlock(std::int32_t block, std::uint32_t records);
  // The block's number, counted from 1.
  HRESULT GetMemBlockName(std::int32_t block, std::string* name);
  HRESULT GetMemBlockSize(std::int32_t block, std::uint32_t* size);
  // What one acquisition cycle writes: its records, and its period in the unit of the logger's program. Zeros when the
  // program does not say.
  HRESULT GetMemBlockCyclePeriod(std::int32_t block, std::uint32_t* cycle_records, std::uint32_t* cycle_period);

  // === Beyond the automation interface ===

  // Resets settings, link and directions to their defaults, and removes all groups.
  HRESULT InitNew();
  // Writes the configuration stream: versions, settings, link, groups, highest group id, directions. `tail` is the
  // caller's own and follows the configuration. A failed save, also of the tail, leaves the instrument dirty.
  HRESULT Save(ByteStream& stream, std::string_view tail = {});
  // Writes the same stream and leaves the dirty mark as it is.
  HRESULT SaveCopy(ByteStream& stream);
  // Resets to the defaults, then loads a stream. Stops all groups and starts none. A stream that does not begin with
  // two version words gives E_INVALIDARG and leaves the defaults. Anything wrong later ends the load there with S_OK:
  // what precedes it is kept.
  HRESULT Load(ByteStream& stream);
  // Whether something that a stream keeps changed since the last save, load or reset.
  bool IsDirty() const;
  void MarkDirty();
  // The description that error information gives for a code; empty for a code without a text.
  std::string DescriptionOf(HRESULT code) const;

  // ReadMemBlock in parts: gives the records to `sink` as they come, one exchange at a time.
  HRESULT StreamMemBlock(std::int32_t block, std::uint32_t records_max, bool clear, RecordSink& sink,
                         std::uint32_t* records_read);

  // Program files of an instrument with a program; E_NOTIMPL for any other model. Paths are in the system's encoding.
  // A transfer connects when need be, and then disconnects at its end. It reports its progress as a long read does and
  // gives kCancelled when the user stops it.

  // Whether a file is one of the model's programs and can be sent. Counts its records. Asks no instrument.
  HRESULT CheckProgram(const std::string& path, std::uint32_t* records);
  HRESULT SendProgram(const std::string& path);
  // Replaces the file only after the whole program was read.
  HRESULT ReadProgram(const std::string& path);
  // The question for the file of a setting; none for a setting that names no file.
  std::optional<FileQuestion> FileQuestionOf(const SettingRow& row) const;

  // Reads the list of channels from the instrument, for models whose channels depend on it. Needs the connection.
  HRESULT RefreshChannels();
  // Sets the object that receives the set points, for a model that can forward them (drivers/set_point_forwarding.h).
  // An empty one removes the object. E_NOTIMPL for any other model.
  HRESULT SetSetPointObject(SetPointObject object);
  // Sends a query as the user typed it and gives its reply. Without `reply` it sends a command. Messages of a Modbus
  // instrument are bytes in hexadecimal, the function first: "03 0000 0002". Needs the connection; E_INVALIDARG for a
  // text that is no message.
  HRESULT RawQuery(std::string_view text, std::string* reply);
  // Why the last Connect could not open the link.
  platform::OpenFailure LinkFailure() const;
  // Whether this machine has what the link needs, such as a USB helper library: S_OK, or the code of what is missing.
  HRESULT CheckLink();
  // Whether the device is still connected: S_OK, or the code with which a reading would fail. S_OK also during an
  // exchange of another thread, which notices a loss itself. Sends nothing and does not wait.
  HRESULT CheckPresence();
  // The instrument's network address; none while it is on a serial line. E_NOTIMPL for a model without a network link.
  HRESULT GetNetworkAddress(std::optional<NetworkAddress>* address);
  HRESULT SetNetworkAddress(const std::optional<NetworkAddress>& address);
  // The session's counters since the control was made.
  SessionStatistics Statistics() const;
  // The baud rates of the model's serial line.
  std::span<const std::uint32_t> BaudRates() const;

  // Settings of a group. E_INVALIDARG for a dead band that is not a finite number.
  HRESULT GetGroupSettings(std::uint32_t group, GroupSettings* settings);
  HRESULT SetGroupSettings(std::uint32_t group, const GroupSettings& settings);
  // The configuration record.
  Settings& settings();
  // The serial link's settings; a change applies at the next open. E_NOTIMPL for a model without a serial link,
  // E_INVALIDARG for values that a stream cannot keep.
  HRESULT GetSerialParams(SerialParams* params);
  HRESULT SetSerialParams(const SerialParams& params);
  // Whether the instrument has the channel with its present settings: some models can be set to several instruments.
  bool OffersChannel(ChannelId channel) const;
  // Whether the instrument has the channel and the channel is switched on.
  bool IsChannelOn(ChannelId channel) const;
  // The sinks of this instrument. They are kept until they are unadvised.
  EventSinks& events();
  const ModelCard& card() const;

 private:
  // Runs a member's body: no exception leaves it, and a failure sets the error information.
  template <typename Body>
  HRESULT Member(Body&& body);
  template <typename Body>
  HRESULT Guarded(Body&& body);
  // Sets the calling thread's error information, without a text when there is no memory for one.
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
  std::atomic<std::uint64_t> changes_ = 0;        // Counts changes of what a stream keeps.
  std::atomic<std::uint64_t> saved_changes_ = 0;  // The count at the last save, load or reset.
  mutable platform::Mutex mutex_;
  std::vector<std::shared_ptr<AcqGroup>> groups_;  // Guarded by mutex_; in the order of creation.
  std::uint32_t highest_group_ = 0;                // Guarded by mutex_.
};

}  // namespace ulix
