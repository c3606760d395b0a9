// Shared by the measurements of benches on a broker: a separate broker, and a host that receives every message.
#pragma once

#include <mosquitto.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "fleet/fleet_view.h"
#include "fleet/payload.h"
#include "fleet/topic.h"

namespace ulix::bench {

using std::chrono::steady_clock;

inline int FreePort() {
  const int socket_handle = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{.sin_family = AF_INET, .sin_addr = {htonl(INADDR_LOOPBACK)}};
  socklen_t size = sizeof address;
  const bool bound = bind(socket_handle, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     getsockname(socket_handle, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  close(socket_handle);
  if (!bound) Leave("no free port");
  return ntohs(address.sin_port);
}

// A folder that is removed with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "ulix-bench-XXXXXX").string();
    if (!mkdtemp(name.data())) Leave("no temporary folder");
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline mosquitto* ConnectedClient(int port, void* owner = nullptr) {
  static const int done = mosquitto_lib_init();
  static_cast<void>(done);
  mosquitto* const client = mosquitto_new(nullptr, true, owner);
  mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
  const auto until = steady_clock::now() + std::chrono::seconds(20);
  while (mosquitto_connect(client, "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS) {
    if (steady_clock::now() > until) Leave("the broker does not answer");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return client;
}

// mosquitto on a free port of this machine. The broker answers when the constructor returns.
class Broker {
 public:
  explicit Broker(const std::filesystem::path& folder)
      : port_(FreePort()), process_([&] {
          const std::string file = (folder / "mosquitto.conf").string();
          std::ofstream(file) << "listener " << port_
                              << " 127.0.0.1\nallow_anonymous true\nuser root\nmax_queued_messages 0\n"
                              << "set_tcp_nodelay true\n"
                              << "log_dest none\n";
          // mosquitto complains when it runs as root.
          if (!freopen("/dev/null", "w", stderr)) Leave("no /dev/null");
          execlp("mosquitto", "mosquitto", "-c", file.c_str(), nullptr);
        }) {
    mosquitto_destroy(ConnectedClient(port_));
  }
  int port() const { return port_; }
  pid_t process() const { return process_.id(); }

 private:
  const int port_;
  ChildProcess process_;
};

// The processor time of a process with all its threads, in seconds.
inline double ProcessorSeconds(pid_t process) {
  double seconds = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    std::uint64_t nanoseconds = 0;
    std::ifstream(task.path() / "schedstat") >> nanoseconds;
    seconds += static_cast<double>(nanoseconds) / 1e9;
  }
  return seconds;
}

inline double MegabytesOf(pid_t process) {
  std::uint64_t pages = 0, resident = 0;
  std::ifstream("/proc/" + std::to_string(process) + "/statm") >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// A host at the broker that receives the messages of a group of benches.
class Host {
 public:
  Host(int port, const std::string& group) : view_(group), client_(ConnectedClient(port, this)) {
    mosquitto_message_callback_set(client_, OnMessage);
    const std::string topics = "spBv1.0/" + group + "/#";
    mosquitto_subscribe(client_, nullptr, topics.c_str(), 0);
    mosquitto_loop_start(client_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, true);
    mosquitto_destroy(client_);
  }

  std::uint64_t births() const { return births_; }
  std::uint64_t values() const { return values_; }
  std::uint64_t messages() const { return messages_; }
  const fleet::FleetView& view() const { return view_; }
  // Returns the age in milliseconds of each reading at its arrival, since the last call.
  std::vector<double> TakeLatencies() {
    const std::lock_guard lock(mutex_);
    return std::exchange(latencies_, {});
  }

 private:
  static void OnMessage(mosquitto*, void* host, const mosquitto_message* message) {
    static_cast<Host*>(host)->Take(*message);
  }
  void Take(const mosquitto_message& message) {
    const auto now = std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch());
    const auto topic = fleet::ParseTopic(message.topic);
    const auto payload =
        fleet::Decode({static_cast<const char*>(message.payload), static_cast<std::size_t>(message.payloadlen)});
    if (!topic || !payload) Leave(std::string("a message cannot be read: ") + message.topic);
    ++messages_;
    view_.Received(message.topic,
                   {static_cast<const char*>(message.payload), static_cast<std::size_t>(message.payloadlen)});
    if (topic->type == fleet::MessageType::kDeviceBirth) ++births_;
    if (topic->type != fleet::MessageType::kDeviceData) return;
    const std::lock_guard lock(mutex_);
    for (const fleet::Metric& metric : payload->metrics) {
      if (metric.name.ends_with("/Value") && !metric.historical) {
        ++values_;
        latencies_.push_back(now.count() - static_cast<double>(metric.time));
      }
    }
  }

  fleet::FleetView view_;
  mosquitto* const client_;
  std::atomic<std::uint64_t> births_ = 0, values_ = 0, messages_ = 0;
  std::mutex mutex_;
  std::vector<double> latencies_;  // Guarded by mutex_.
};

}  // namespace ulix::bench
