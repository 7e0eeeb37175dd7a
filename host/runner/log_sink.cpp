#include "host/runner/log_sink.h"

#include <android/log.h>

#include <algorithm>

#include "framework/log_level.h"
#include "host/runner/output_file.h"
#include "host/visible.h"

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

void OnLine(const __android_logger_data* data, const char* text) {
  LogLine line{data->priority == ANDROID_LOG_ERROR ? "ERROR" : "WARN",
               data->tag != nullptr ? data->tag : "", text};
  while (line.text.ends_with('\n')) {
    line.text.pop_back();
  }
  if (data->priority >= gWritten) {
    PrintError("{} {}: {}\n", "??VDIWEF"[data->priority], line.tag, Shown(line.text));
  }
  if (data->priority >= ANDROID_LOG_WARN) {
    gOutputs->Tell(&SessionOutput::OnLogLine, line);
  }
}

}  // namespace

LogSink::LogSink(int written, const SessionOutputs& outputs) {
  constexpr uint32_t kAll = kNuvrelLogDebug | kNuvrelLogInfo | kNuvrelLogWarn | kNuvrelLogError;
  const int logged = std::min<int>(written, ANDROID_LOG_WARN);
  gNuvrelLogLevel = kAll >> static_cast<uint32_t>(logged - ANDROID_LOG_DEBUG);
  __android_log_set_minimum_priority(logged);
  gWritten = written;
  gOutputs = &outputs;
  __android_log_set_logger(&OnLine);
}

LogSink::~LogSink() { __android_log_set_logger(&__android_log_stderr_logger); }
