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
    Json faults = Json::array();
    for (const FaultCount& fault : end.faults) {
      faults.push_back({{"rule", fault.rule}, {"fired", fault.fired}});
    }
    Write({{"kind", "end"},
           {"interrupted", end.interrupted},
           {"driver", Json::object_t(end.state.begin(), end.state.end())},
           {"faults", faults}});
  }

  void OnNotice(const std::string& text) override { PrintError("wlc: note: {}\n", Visible(text)); }

 private:
  static void Write(const Json& line) { Print("{}\n", Dump(line)); }
};

constexpr int kProcess = 1;
enum Track { kCommands = 1, kExchanges, kWaits };

class TraceOutput : public SessionOutput {
 public:
  explicit TraceOutput(const std::string& file)
      : mFile(std::fopen(file.c_str(), "we"), "the trace " + file) {
    WriteName("process_name", 0, {{"name", "wlc run"}});
    int track = 0;
    for (const char* name : {"commands", "driver exchanges", "waiting for driver messages"}) {
      WriteName("thread_name", ++track, {{"name", name}});
      WriteName("thread_sort_index", track, {{"sort_index", track}});
    }
  }

  ~TraceOutput() override { mFile.Write("\n]\n"); }

  void OnCommandEnd(const CommandReport& report) override {
    WriteSlice(kCommands, report.command.form->name, report.begin, report.end,
               {{"command", report.command.Text()},
                {"status", report.status},
                {"differences", report.differences}});
    for (const Exchange& exchange : report.exchanges) {
      WriteSlice(exchange.kind == Exchange::Kind::kWait ? kWaits : kExchanges, Topic(exchange),
                 exchange.begin, exchange.end, AsJson(exchange));
    }
    for (const auto& [key, value] : report.state) {
      if (key == "service_classes" || key == "policies") {
        Write({{"ph", "C"},
               {"pid", kProcess},
               {"name", key},
               {"ts", Since(report.end)},
               {"args", {{"count", std::stoul(value)}}}});
      }
    }
  }

  void OnLogLine(const LogLine& line) override {
    Write({{"ph", "i"},
           {"s", "t"},
           {"pid", kProcess},
           {"tid", kCommands},
           {"name", line.text},
           {"cat", line.level},
           {"ts", Since(std::chrono::steady_clock::now())},
           {"args", {{"tag", line.tag}}}});
  }

 private:
  void Write(const Json& event) { mFile.Write(std::exchange(mBefore, ",\n") + Dump(event)); }

  void WriteName(const char* what, int track, const Json& args) {
    Write({{"ph", "M"}, {"pid", kProcess}, {"tid", track}, {"name", what}, {"args", args}});
  }

  void WriteSlice(Track track, std::string_view name, TimePoint begin, TimePoint end,
                  const Json& args) {
    Write({{"ph", "X"},
           {"pid", kProcess},
           {"tid", track},
           {"name", name},
           {"ts", Since(begin)},
           {"dur", Microseconds(begin, end)},
           {"args", args}});
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
