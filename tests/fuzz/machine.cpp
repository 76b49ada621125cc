// SPDX-License-Identifier: MIT
// The recording of a machine, up to where umockdev would make files of it.
#include <cassert>
#include <cstring>
#include <set>
#include <sstream>
#include <stdexcept>

#include "sim/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::set<std::string> links;
  std::set<std::string> places;
  try {
    for (const auto& record : tarni::sim::parse_recording({data, data + size}, "recording")) {
      assert((record.property("MAJOR") + record.property("MINOR")).find('/') == std::string::npos);
      places.insert(record.path() + "/");
      std::istringstream lines(record.text());
      for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::string place = record.path() + "/" + line.substr(3, line.find('=') - 3);
        if (std::strchr("AHL", line[0])) places.insert(place);
        if (line[0] == 'L') links.insert(place + "/");
      }
    }
  } catch (const std::runtime_error&) {
  }
  // What is made behind a link is made wherever that leads.
  for (const std::string& link : links) {
    for (const std::string& place : places) assert(place.rfind(link, 0) != 0);
  }
  return 0;
}
