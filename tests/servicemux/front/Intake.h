#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/doubles/Sender.h"
#include "tests/servicemux/doubles/ThreadCalls.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/logLines.h"
#include "tests/servicemux/packets.h"

/// A multiplex whose datagrams come to the test.
class Intake : public testing::Test {
 protected:
  Intake() { log.take(); }

  std::vector<std::string> lines() { return takeLines(log); }

  /// True once a section of this version has been sent on the PID.
  bool isSent(unsigned short pid, int version) {
    return sender.await([=](const std::string& packet) {
      return pidOf(packet) == pid && startsPayloadUnit(packet) && versionOf(packet) == version;
    });
  }

  std::vector<std::string> tables() const {
    std::vector<std::string> names;
    for (const auto& table : mux.tablesOnAir()) names.push_back(table.name + " v" + std::to_string(table.version));
    return names;
  }

  static constexpr std::size_t kSection = 5;  // behind header and pointer_field
  static int versionOf(const std::string& packet) { return byteAt(packet, kSection + 5) >> 1 & 0x1F; }

  RecordedLog log;
  Sender sender;
  const ThreadCalls granted{ThreadCalls::Priorities::kGranted};
  vantor::serviceMux mux{"mux", sender.shared(), ""};
};
