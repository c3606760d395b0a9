// read: one reading of each channel.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>

#include "tools/ulix/connection.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/scan.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/verbs.h"

namespace ulix::cli {
namespace {

struct ReadOptions {
  ConnectionOptions connection;
  std::vector<std::string> channels;
  bool json = false;
};

struct Row {
  Channel channel;
  std::optional<float> value;  // None when the reading failed.
  HRESULT error = S_OK;
  std::string text;  // The text of the error, UTF-8.
  Doubt doubt = Doubt::kNone;
};

std::vector<Row> ReadRows(Session& session, const ReadOptions& options) {
  // An unknown channel is refused before anything is sent to the instrument.
  if (!session.instrument().card().channels_in_instrument) SelectInputs(session.Channels(), options.channels);
  session.ConnectAndAsk();
  const auto channels = SelectInputs(session.Channels(), options.channels);
  session.ReportUnknownUnits(channels);
  const ChannelArrays arrays = ReadOnce(session, channels, options.connection.timeout_ms);
  const auto known = session.WithUnits(channels);
  std::vector<Row> rows;
  for (std::size_t k = 0; k < known.size(); ++k) {
    Row row{known[k], arrays.values.at(k), arrays.errors.at(k), {}, arrays.doubts.at(k)};
    if (Failed(row.error)) {
      row.value.reset();
      row.text = session.Explain(row.error);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

Json RowJson(const Row& row) {
  Json json = {{"id", row.channel.id},
               {"name", row.channel.name},
               {"value", row.value ? JsonNumber(*row.value) : Json(nullptr)},
               {"unit", row.channel.unit},
               {"error", JsonError(row.error)},
               {"text", row.text}};
  if (row.doubt != Doubt::kNone && row.value) json["doubt"] = DoubtText(row.doubt);
  return json;
}

void PrintRows(const std::vector<Row>& rows, bool json, Language language) {
  Json array = Json::array();
  Table table(
      Heads({TextId::kIdHead, TextId::kNameHead, TextId::kValueHead, TextId::kUnitHead, TextId::kErrorHead}, language));
  for (const Row& row : rows) {
    array.push_back(RowJson(row));
    const std::string value =
        row.value ? ShownNumber(FormatValue(row.channel, *row.value)) + DoubtMark(row.doubt) : std::string("--");
    const std::string error = Failed(row.error) ? FailureLine(row.error, row.text) : std::string();
    table.Add({std::to_string(row.channel.id), row.channel.name, value, row.channel.unit, error});
  }
  json ? PrintJson(array) : table.Print();
}

int Read(const ReadOptions& options) {
  Session session(options.connection);
  const auto rows = ReadRows(session, options);
  PrintRows(rows, options.json, LanguageOf(options.connection));
  for (const Row& row : rows) session.Check(row.error);
  return 0;
}

}  // namespace

Action DefineRead(CLI::App& verb) {
  const auto options = std::make_shared<ReadOptions>();
  AddModel(verb, options->connection);
  verb.add_option("CHANNEL", options->channels, Shown(TextId::kHelpChannels))->type_name("");
  verb.add_flag("--json", options->json, Shown(TextId::kHelpJsonArray));
  AddConnection(verb, options->connection);
  return [=] { return Read(*options); };
}

}  // namespace ulix::cli
