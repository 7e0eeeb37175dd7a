#include "wlc/log_sink.h"

#include <algorithm>

#include "framework/log_level.h"
#include "platform/log_redirection.h"
#include "wlc/output_file.h"
#include "wlc/visible.h"

namespace {

// The log library has one logger for the whole process, a plain function.
int gWritten = ANDROID_LOG_WARN;
const SessionOutputs* gOutputs = nullptr;

// The service's own texts have several lines. Those that follow are indented, so that no text from
// outside looks like a line of the log.
std::string Shown(const std::string& text) {
  std::string shown;
  for (const std::string_view line : SplitWords(text, '\n')) {
    const size_t begin = std::min(line.find_first_not_of('\t'), line.size());
    shown += (shown.empty() ? "" : "\n    ") + Visible(line.substr(begin));
  }
  return shown;
}

void OnLine(int priority, const char* tag, const char* text) {
  static constexpr const char* kLevels[] = {"INFO", "WARN", "ERROR"};  // of those that outputs get
  LogLine line{kLevels[std::clamp<int>(priority - ANDROID_LOG_INFO, 0, 2)],
               tag != nullptr ? tag : "", text};
  while (line.text.ends_with('\n')) {
    line.text.pop_back();
  }
  if (priority >= gWritten) {
    PrintError("{} {}: {}\n", "??VDIWEF"[priority], line.tag, Shown(line.text));
  }
  if (priority >= ANDROID_LOG_WARN || !NodeValue(line).empty()) {
    for (const auto& output : *gOutputs) {
      output->OnLogLine(line);
    }
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
