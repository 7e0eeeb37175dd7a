#include "host/runner/trace_output.h"

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kProcess = 1;
constexpr int kCommandTrack = 1;
constexpr int kExchangeTrack = 2;
constexpr int kWaitTrack = 3;

std::string Printed(const Json& event) {
  return event.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json Slice(int track, const std::string& name, double begin, const Interval& time, Json args) {
  return {{"ph", "X"},
          {"pid", kProcess},
          {"tid", track},
          {"name", name},
          {"ts", begin},
          {"dur", time.Microseconds()},
          {"args", std::move(args)}};
}

// The word that tells one driver command from another.
std::string ShortName(const Exchange& exchange) {
  const std::vector<std::string> words = SplitWords(exchange.command);
  return words.size() > 1 ? words[1] : exchange.command;
}

}  // namespace

bool TraceOutput::Open(const std::string& file, std::string& error) {
  mFile.open(file, std::ios::trunc);
  if (!mFile) {
    error = "cannot write the trace " + file + ": " + std::strerror(errno);
    return false;
  }
  mStart = std::chrono::steady_clock::now();
  mFile << R"({"displayTimeUnit":"ms","traceEvents":[)";
  Write(Printed(
      {{"ph", "M"}, {"pid", kProcess}, {"name", "process_name"}, {"args", {{"name", "wlc run"}}}}));
  WriteTrack(kCommandTrack, "commands");
  WriteTrack(kExchangeTrack, "driver exchanges");
  WriteTrack(kWaitTrack, "waiting for driver messages");
  return true;
}

void TraceOutput::OnCommandEnd(const CommandReport& report) {
  Write(Printed(Slice(kCommandTrack, report.command.form->name, Microseconds(report.time.begin),
                      report.time,
                      {{"command", report.command.Text()},
                       {"status", report.status},
                       {"differences", report.differences}})));
  for (const Exchange& exchange : report.exchanges) {
    Write(Printed(Slice(
        kExchangeTrack, ShortName(exchange), Microseconds(exchange.time.begin), exchange.time,
        {{"command", exchange.command}, {"reply", exchange.reply}, {"result", exchange.result}})));
  }
  for (const Wait& wait : report.waits) {
    Write(Printed(Slice(kWaitTrack, wait.prefix, Microseconds(wait.time.begin), wait.time,
                        {{"message", wait.message}, {"result", wait.result}})));
  }
  if (report.policies && report.serviceClasses) {
    WriteCounter("policies", report.time.end, *report.policies);
    WriteCounter("service classes", report.time.end, *report.serviceClasses);
  }
}

void TraceOutput::OnLogLine(const LogLine& line) {
  Write(Printed({{"ph", "i"},
                 {"s", "t"},
                 {"pid", kProcess},
                 {"tid", kCommandTrack},
                 {"name", line.text},
                 {"cat", line.level == LogLevel::kError ? "ERROR" : "WARN"},
                 {"ts", Microseconds(line.time)},
                 {"args", {{"tag", line.tag}}}}));
}

void TraceOutput::OnFinish(const StatusLines& /*state*/) {
  mFile << "\n]}\n";
  mFile.close();
}

double TraceOutput::Microseconds(TimePoint time) const {
  return Interval{.begin = mStart, .end = time}.Microseconds();
}

void TraceOutput::Write(const std::string& event) {
  mFile << (mFirst ? "\n" : ",\n") << event;
  mFirst = false;
}

void TraceOutput::WriteTrack(int track, const char* name) {
  Write(Printed({{"ph", "M"},
                 {"pid", kProcess},
                 {"tid", track},
                 {"name", "thread_name"},
                 {"args", {{"name", name}}}}));
  Write(Printed({{"ph", "M"},
                 {"pid", kProcess},
                 {"tid", track},
                 {"name", "thread_sort_index"},
                 {"args", {{"sort_index", track}}}}));
}

void TraceOutput::WriteCounter(const char* name, TimePoint time, uint32_t value) {
  Write(Printed({{"ph", "C"},
                 {"pid", kProcess},
                 {"name", name},
                 {"ts", Microseconds(time)},
                 {"args", {{"count", value}}}}));
}

}  // namespace host
