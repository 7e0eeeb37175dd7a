// What the JSON output and the trace write in the same way.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "wlc/session_output.h"

using Json = nlohmann::ordered_json;

// One line of ASCII: bytes that are not UTF-8 are replaced, all other characters escaped, since
// some control a terminal or end a line.
inline std::string Dump(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

// {"command":"DRIVER SET_LATENCY_MODE 2","reply":"OK","result":0}; a wait has "prefix" and
// "message" in place of the first two.
inline Json AsJson(const Exchange& exchange) {
  const bool waited = exchange.kind == Exchange::Kind::kWait;
  return {{waited ? "prefix" : "command", exchange.asked},
          {waited ? "message" : "reply", exchange.answered},
          {"result", exchange.result}};
}
