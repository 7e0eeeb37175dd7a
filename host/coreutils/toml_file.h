// A configuration file in TOML, read into typed values by flat lower-case key.
//
//   demo.toml, line 7: wlanXRLatencyMode = "two"   under [nuvrel.services.wirelesslinkconfig]
//   gives the problem: demo.toml:7: wlanXRLatencyMode: expected an integer, found a string
//
// Nested tables flatten with dots. Integers, booleans and strings are kept, other values of other
// tables are passed over; the service's own table holds its nine settings in their types and
// nothing else. Limits: 1 MiB a file, 4096 bytes a line, integers of the settings 32 bits.
#ifndef NUVREL_HOST_COREUTILS_TOML_FILE_H_
#define NUVREL_HOST_COREUTILS_TOML_FILE_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace host {

struct ConfigProblem {
  uint32_t line = 0;    // counted from 1; 0 when the file as a whole is meant
  std::string message;  // one whole line without its end: file, line, key, what is wrong
};

struct TomlFile {
  std::map<std::string, int64_t> integers;
  std::map<std::string, std::string> strings;
  std::map<std::string, uint32_t> lines;  // where each key stands
  std::vector<ConfigProblem> problems;    // in the order of the file
};

// Never throws on account of the file's content; a file that cannot be read is a problem, too. What
// is right in a file with problems is in the tables all the same.
TomlFile ReadTomlFile(const std::string& file);

}  // namespace host

#endif  // NUVREL_HOST_COREUTILS_TOML_FILE_H_
