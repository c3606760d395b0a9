// Live pages of the verbs: the option --http, and the page of a scan.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/live_page/live_page.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/scan.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace ulix::cli {

// Adds --http. Its text is checked while the command line is read.
CLI::Option* AddHttp(CLI::App& verb, std::string& address);

// Begins to serve and tells the user where. `address` is a text that --http accepts. Throws OperationFailed.
std::unique_ptr<LivePage> ServePage(const std::string& address, LivePageOptions options);

// The page of a scan: the newest report of each channel.
std::unique_ptr<ScanOutput> MakePageOutput(std::unique_ptr<LivePage> page, std::span<const Channel> channels,
                                           ErrorText error_text);

}  // namespace ulix::cli
