// A debug channel whose text the test reads back.
#pragma once

#include <kr/debug_channel.h>

#include <string>

struct CapturedChannel {
  krOS::DebugChannel channel{"test"};
  std::string text;
  explicit CapturedChannel(bool enabled = true) {
    channel.enable(enabled);
    channel.setSink([this](std::string_view s) { text += s; });
  }
};
