#include "wlc/log_sink.h"

#include <algorithm>
#include <new>

#include "framework/log_level.h"
#include "platform/log_redirection.h"
#include "wlc/layout.h"
#include "wlc/output_file.h"
#include "wlc/service_host.h"
#include "wlc/visible.h"

namespace {

// The log library has one logger for the whole process, a plain function.
int gWritten = ANDROID_LOG_WARN;
const SessionOutputs* gOutputs = nullptr;

constexpr struct {
  const char* label;
  const char* name;
  fmt::text_style style;
} kLevels[] = {{"debug", "DEBUG", kFaint},
               {"info", "INFO", kFaint},
               {"warning", "WARN", kWarn},
               {"error", "ERROR", kBad}};

// The service's own texts have several lines. Those that follow are indented, so that no text from
// outside looks like a line of the log.
std::string Shown(const LogLine& line) {
  const bool isOwn = line.tag.empty() || line.tag == kServiceLibrary;
  const bool isNormal =
      line.text.starts_with("[ClearLAPBPolicies:") && line.text.ends_with(" LAPB Not Supported");
  const std::string text = (isOwn ? "" : line.tag + ": ") + line.text +
                           (isNormal ? " (normal in a teardown without flow policies)" : "");
  std::string shown;
  for (std::string_view one : SplitWords(text, '\n')) {
    one.remove_prefix(std::min(one.find_first_not_of('\t'), one.size()));
    shown += shown.empty() ? "" : "\n" + std::string(kTextColumn, ' ');
    shown += Wrapped((shown.empty() ? "" : "  ") + Visible(one), kTextColumn);
  }
  return shown;
}

void Tell(int priority, const char* tag, const char* text) {
  const auto& level = kLevels[std::clamp<int>(priority - ANDROID_LOG_DEBUG, 0, 3)];
  LogLine line{level.name, tag != nullptr ? tag : "", text};
  while (line.text.ends_with('\n')) {
    line.text.pop_back();
  }
  if (priority >= gWritten) {
    PrintError("{}\n", Labelled(stderr, level.label, level.style, Shown(line)));
  }
  if (priority >= ANDROID_LOG_WARN || !NodeValue(line).empty()) {
    for (const auto& output : *gOutputs) {
      output->OnLogLine(line);
    }
  }
}

void OnLine(int priority, const char* tag, const char* text) {
  try {
    Tell(priority, tag, text);
  } catch (const std::bad_alloc&) {  // the line is lost; liblog, which calls this, holds a lock
  }
}

}  // namespace

LogSink::LogSink(int written, const SessionOutputs& outputs) {
  constexpr uint32_t kAll = kNuvrelLogDebug | kNuvrelLogInfo | kNuvrelLogWarn | kNuvrelLogError;
  const int logged = std::min<int>(written, ANDROID_LOG_INFO);
  gNuvrelLogLevel = kAll >> static_cast<uint32_t>(logged - ANDROID_LOG_DEBUG);
  __android_log_set_minimum_priority(logged);
  gWritten = written;
  gOutputs = &outputs;
  RedirectLog(&OnLine);
}

LogSink::~LogSink() { RedirectLog(nullptr); }
