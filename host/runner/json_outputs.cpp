#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/coreutils/lower_case.h"
#include "host/runner/output_file.h"
#include "host/runner/session_output.h"
#include "host/visible.h"

namespace {

using Json = nlohmann::ordered_json;

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Under the names that what was asked and answered has in an exchange of its kind.
Json AsJson(const Exchange& exchange) {
  static constexpr std::pair<const char*, const char*> kNames[] = {
      {"command", "reply"}, {"prefix", "message"}, {"value", "path"}};
  const auto& [asked, answered] = kNames[static_cast<int>(exchange.kind)];
  return {{asked, exchange.asked}, {answered, exchange.answered}, {"result", exchange.result}};
}

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
    Json lists[] = {Json::array(), Json::array(), Json::array()};  // one of each kind
    for (const Exchange& exchange : report.exchanges) {
      Json entry = AsJson(exchange);
      entry["microseconds"] = std::llround(Microseconds(exchange.begin, exchange.end));
      lists[static_cast<int>(exchange.kind)].push_back(entry);
    }
    Write({{"kind", "command"},
           {"command", report.command.form->name},
           {"parameters", Parameters(report.command)},
           {"status", report.status},
           {"microseconds", std::llround(Microseconds(report.begin, report.end))},
           {"exchanges", lists[0]},
           {"waits", lists[1]},
           {"node_writes", lists[2]},
           {"checked", report.checked},
           {"differences", report.differences}});
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
    for (const FaultCount& fault : end.faults) {
      faults.push_back({{"rule", fault.rule}, {"fired", fault.fired}});
    }
    Write({{"kind", "end"},
           {"interrupted", end.interrupted},
           {"driver", driver},
           {"faults", faults}});
  }

  void OnNotice(const std::string& text) override { PrintError("wlc: note: {}\n", Visible(text)); }

 private:
  static void Write(const Json& line) { Print("{}\n", Dump(line)); }
};

enum Track { kCommands = 1, kExchanges, kWaits };

class TraceOutput : public SessionOutput {
 public:
  explicit TraceOutput(const std::string& file)
      : mFile(std::fopen(file.c_str(), "we"), "the trace " + file) {
    Write("M", 0, "process_name", {{"name", "wlc run"}});
    int track = 0;
    for (const char* name : {"commands", "driver exchanges", "waiting for driver messages"}) {
      Write("M", ++track, "thread_name", {{"name", name}});
      Write("M", track, "thread_sort_index", {{"sort_index", track}});
    }
  }

  ~TraceOutput() override { mFile.Write("\n]\n"); }

  void OnCommandEnd(const CommandReport& report) override {
    WriteSlice(kCommands, report.command.form->name, report,
               {{"command", report.command.Text()},
                {"status", report.status},
                {"differences", report.differences}});
    for (const Exchange& exchange : report.exchanges) {
      WriteSlice(exchange.kind == Exchange::Kind::kWait ? kWaits : kExchanges, Topic(exchange),
                 exchange, AsJson(exchange));
    }
    for (const auto& [key, value] : report.state) {
      const auto count = ParseNumber(value);
      if (count && (key == "service_classes" || key == "policies")) {
        Write("C", kCommands, key, {{"count", *count}}, {{"ts", Since(report.end)}});
      }
    }
  }

  void OnLogLine(const LogLine& line) override {
    const double now = Since(std::chrono::steady_clock::now());
    Write("i", kCommands, line.text, {{"tag", line.tag}},
          {{"s", "t"}, {"cat", line.level}, {"ts", now}});
  }

 private:
  void Write(const char* phase, int track, std::string_view name, const Json& args,
             const Json& more = Json::object()) {
    Json event = {{"ph", phase}, {"pid", 1}, {"tid", track}, {"name", name}};
    event.update(more);
    event["args"] = args;
    mFile.Write(std::exchange(mBefore, ",\n") + Dump(event));
  }

  // `timed` is what took from its begin to its end.
  template <typename Timed>
  void WriteSlice(Track track, std::string_view name, const Timed& timed, const Json& args) {
    Write("X", track, name, args,
          {{"ts", Since(timed.begin)}, {"dur", Microseconds(timed.begin, timed.end)}});
  }

  double Since(TimePoint time) const { return Microseconds(mStart, time); }

  OutputFile mFile;
  const TimePoint mStart = std::chrono::steady_clock::now();
  std::string mBefore = "[\n";  // the next event
};

}  // namespace

std::unique_ptr<SessionOutput> MakeJsonOutput() { return std::make_unique<JsonOutput>(); }

std::unique_ptr<SessionOutput> MakeTraceOutput(const std::string& file) {
  return std::make_unique<TraceOutput>(file);
}
