#include "listen_control.h"

#include <algorithm>
#include <utility>

namespace tavrel::cli {
namespace {

// The words of a line, split at spaces and tabs.
std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < text.size()) {
    const auto start = text.find_first_not_of(" \t\r", i);
    if (start == std::string_view::npos) break;
    const auto end = std::min(text.find_first_of(" \t\r", start), text.size());
    out.push_back(text.substr(start, end - start));
    i = end;
  }
  return out;
}

std::string channelNames() {
  std::string names;
  for (auto name : channelRawValues) {
    if (!names.empty()) names += ", ";
    names += name;
  }
  return names;
}

}  // namespace

std::string_view controlLineNames() {
  return "background, foreground, offline, online, stop APPID, start, quit";
}

ControlParse parseControlLine(std::string_view text) {
  using Kind = ControlLine::Kind;
  static constexpr std::pair<std::string_view, Kind> kBare[] = {
      {"background", Kind::background}, {"foreground", Kind::foreground},
      {"offline", Kind::offline},       {"online", Kind::online},
      {"start", Kind::start},           {"quit", Kind::quit}};
  const auto parts = words(text);
  if (parts.empty()) return {};
  const std::string word(parts[0]);
  if (word == "stop") {
    if (parts.size() != 2) return {std::nullopt, "'stop' takes one application id: stop APPID"};
    return {ControlLine{Kind::stop, std::string(parts[1])}, ""};
  }
  for (const auto& [name, kind] : kBare) {
    if (parts[0] != name) continue;
    if (parts.size() > 1) return {std::nullopt, "'" + word + "' takes nothing after it"};
    return {ControlLine{kind, ""}, ""};
  }
  return {std::nullopt, "unknown control line '" + std::string(text) +
                            "'; the lines are " + std::string(controlLineNames())};
}

ChannelsParse parseChannels(std::string_view list) {
  ChannelsParse out;
  if (list.empty()) {
    out.mistake = "--channels needs at least one channel: " + channelNames();
    return out;
  }
  std::size_t at = 0;
  while (true) {
    const auto comma = list.find(',', at);
    const auto name = list.substr(at, comma == std::string_view::npos ? list.npos : comma - at);
    const auto channel = channelFromRawValue(name);
    if (!channel) {
      out.mistake = name.empty() ? "--channels has an empty name between commas"
                                 : "unknown channel '" + std::string(name) +
                                       "'; the channels are " + channelNames();
      break;
    }
    for (auto seen : out.channels) {
      if (seen == *channel) out.mistake = "channel '" + std::string(name) + "' is given twice";
    }
    if (!out.mistake.empty()) break;
    out.channels.push_back(*channel);
    if (comma == std::string_view::npos) return out;
    at = comma + 1;
  }
  out.channels.clear();
  return out;
}

}  // namespace tavrel::cli
