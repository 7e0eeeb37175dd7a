#include "host/runner/json_output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "host/coreutils/lower_case.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

int64_t WholeMicroseconds(const Interval& time) { return std::llround(time.Microseconds()); }

Json Parameters(const Command& command) {
  Json parameters = Json::object();
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    std::string name = LowerCase(command.form->parameters[i].name);
    std::replace(name.begin(), name.end(), ' ', '_');
    parameters[name] = command.values[i];
  }
  return parameters;
}

}  // namespace

void JsonOutput::OnCommandEnd(const CommandReport& report) {
  Json exchanges = Json::array();
  for (const Exchange& exchange : report.exchanges) {
    exchanges.push_back({{"command", exchange.command},
                         {"reply", exchange.reply},
                         {"result", exchange.result},
                         {"microseconds", WholeMicroseconds(exchange.time)}});
  }
  Json waits = Json::array();
  for (const Wait& wait : report.waits) {
    waits.push_back({{"prefix", wait.prefix},
                     {"message", wait.message},
                     {"result", wait.result},
                     {"microseconds", WholeMicroseconds(wait.time)}});
  }
  const Json line = {{"command", report.command.form->name},
                     {"parameters", Parameters(report.command)},
                     {"status", report.status},
                     {"microseconds", WholeMicroseconds(report.time)},
                     {"exchanges", std::move(exchanges)},
                     {"waits", std::move(waits)},
                     {"checked", report.checked},
                     {"differences", report.differences}};
  std::puts(line.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
  (void)std::fflush(stdout);
}

void JsonOutput::OnNotice(const std::string& text) {
  (void)std::fprintf(stderr, "wlc: note: %s\n", text.c_str());
}

}  // namespace host
