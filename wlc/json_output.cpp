#include "wlc/session_output.h"

#include <algorithm>
#include <cmath>

#include "platform/lower_case.h"
#include "wlc/json.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

Json Parameters(const Command& command) {
  Json parameters = Json::object();
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    std::string name = LowerCase(std::string(command.form->parameters[i].name));
    std::replace(name.begin(), name.end(), ' ', '_');
    parameters[name] = command.values[i];
  }
  return parameters;
}

class JsonOutput : public SessionOutput {
 public:
  explicit JsonOutput(bool times) : mTimes(times) {}

  void OnStart(const SessionInfo& info) override {
    Write({{"kind", "start"},
           {"version", WLC_VERSION},
           {"library", info.library},
           {"settings", info.settings},
           {"driver", info.driver},
           {"self", info.self},
           {"peer", info.peer}});
  }

  void OnCommandEnd(const CommandReport& report) override {
    Json exchanges = Json::array();
    Json waits = Json::array();
    for (const Exchange& exchange : report.exchanges) {
      (exchange.kind == Exchange::Kind::kWait ? waits : exchanges)
          .push_back(Timed(AsJson(exchange), exchange));
    }
    Write(Timed({{"kind", "command"},
                 {"command", report.command.form->name},
                 {"parameters", Parameters(report.command)},
                 {"status", report.status},
                 {"exchanges", exchanges},
                 {"waits", waits},
                 {"checked", report.checked},
                 {"differences", report.differences}},
                report));
  }

  void OnLogLine(const LogLine& line) override {
    Write({{"kind", "log"}, {"level", line.level}, {"tag", line.tag}, {"text", line.text}});
  }

  void OnFinish(const SessionEnd& end) override {
    Json driver = Json::object();
    for (const auto& [key, value] : end.state) {
      driver[key] = value;
    }
    Json faults = Json::array();
    for (const FaultRule& fault : end.faults) {
      faults.push_back({{"rule", fault.text}, {"fired", fault.fired}});
    }
    Write({{"kind", "end"},
           {"interrupted", end.interrupted},
           {"driver", driver},
           {"faults", faults},
           {"unmet", end.unmet},
           {"strict", end.strictFailure}});
  }

  void OnNotice(const std::string& text) override { PrintError("wlc: note: {}\n", Visible(text)); }

 private:
  // `json` with the time that `timed`, which has a begin and an end, took.
  template <typename What>
  Json Timed(Json json, const What& timed) const {
    if (mTimes) {
      json["microseconds"] = std::llround(Microseconds(timed.begin, timed.end));
    }
    return json;
  }

  static void Write(const Json& line) { Print("{}\n", Dump(line)); }

  const bool mTimes;
};

}  // namespace

std::unique_ptr<SessionOutput> MakeJsonOutput(bool times) {
  return std::make_unique<JsonOutput>(times);
}
