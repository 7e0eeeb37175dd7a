#include "wlc/session_output.h"

#include "wlc/json.h"
#include "wlc/output_file.h"

namespace {

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

  // `timed` has a begin and an end.
  template <typename Timed>
  void WriteSlice(Track track, std::string_view name, const Timed& timed, const Json& args) {
    Write("X", track, name, args,
          {{"ts", Since(timed.begin)}, {"dur", Microseconds(timed.begin, timed.end)}});
  }

  double Since(TimePoint time) const { return Microseconds(mStart, time); }

  OutputFile mFile;
  const TimePoint mStart = std::chrono::steady_clock::now();
  std::string mBefore = "[\n";  // what separates the next event from the last
};

}  // namespace

std::unique_ptr<SessionOutput> MakeTraceOutput(const std::string& file) {
  return std::make_unique<TraceOutput>(file);
}
