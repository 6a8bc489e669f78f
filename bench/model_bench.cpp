// Decoding answer pages of messages and dialogs: our records beside raw
// simdjson DOM parsing of the same bytes (the limit) and beside the same
// records built from nlohmann-json the straightforward way (the peer).

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bare_walk.h"
#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"
#include "tavrel/model/dialog.h"
#include "tavrel/model/message.h"
#include "tavrel/model/response.h"

namespace {

using tavrel::Admin;
using tavrel::Dialog;
using tavrel::JsonValue;
using tavrel::JsonWriter;
using tavrel::Message;
using tavrel::Meta;
using tavrel::Response;
using nlohmann::json;

// --- deterministic pages -------------------------------------------------------------

struct Random {
  std::uint64_t state;
  std::uint32_t next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  std::uint32_t below(std::uint32_t n) { return next() % n; }
  template <class T, std::size_t N>
  const T& pick(const T (&items)[N]) {
    return items[below(N)];
  }
};

const char* const kWords[] = {"Здравствуйте", "заказ", "доставка", "спасибо", "когда",
                              "оплата", "не", "пришёл", "подскажите", "пожалуйста",
                              "hello", "order", "номер", "вопрос", "ещё", "сегодня"};
const char* const kEmoji[] = {"👋", "😊", "📦", "🙏", "👍", "❤️", "😢", "🎉"};
const char* const kNames[] = {"Мария Иванова", "Олег", "Анна Смирнова", "Support Bot"};

std::string sentence(Random& r) {
  std::string out;
  int words = 3 + static_cast<int>(r.below(30));
  for (int i = 0; i < words; ++i) {
    if (i) out += ' ';
    out += r.pick(kWords);
    if (r.below(6) == 0) out += r.pick(kEmoji);
  }
  out += r.below(2) ? "?" : ".";
  return out;
}

void writePerson(JsonWriter& w, Random& r, std::int64_t id) {
  w.beginObject();
  w.field("id", std::to_string(id));
  w.field("type", "admin");
  w.field("name", r.pick(kNames));
  w.field("avatar", "https://static.example.com/avatars/" + std::to_string(id) + ".png");
  w.endObject();
}

void writeMessage(JsonWriter& w, Random& r, std::int64_t n) {
  w.beginObject();
  if (n % 2) {
    w.field("id", n + 1000000);
  } else {
    w.field("id", std::to_string(n + 1000000));
  }
  w.field("random_id", r.below(3) ? std::int64_t{0} : std::int64_t{r.next()});
  w.field("body", sentence(r));
  w.field("type", r.below(4) ? "reply" : "comment");
  w.field("created", std::int64_t{1700000000} + n * 37);
  w.field("direction", r.below(2) ? "u2a" : "a2u");
  w.field("read", r.below(3) != 0);
  w.field("sent_via", r.below(2) ? "ios" : "web");
  w.field("reply_type", "text");
  w.key("from");
  writePerson(w, r, 500 + r.below(5));
  std::string conversation = "c";  // appended, not "c" + ...: GCC 12 -Wrestrict false positive
  conversation += std::to_string(70000 + n / 20);
  w.field("conversation", conversation);
  w.key("body_json");
  if (r.below(5) == 0) {
    w.beginObject();
    w.field("format", "markdown");
    w.field("text", sentence(r));
    w.endObject();
  } else {
    w.null();
  }
  w.key("meta_data");
  w.beginObject();
  w.field("platform", "ios");
  w.field("app_version", "2.14.1");
  w.field("ip", "10.0." + std::to_string(r.below(255)) + "." + std::to_string(r.below(255)));
  w.endObject();
  w.key("attachments");
  if (r.below(3) == 0) {
    w.beginArray();
    w.beginObject();
    w.field("filename", "фото_" + std::to_string(n) + ".jpg");
    w.field("mime_type", "image/jpeg");
    w.field("url", "https://files.example.com/a/" + std::to_string(r.next()) + ".jpg");
    w.field("size", std::int64_t{r.below(5000000)});
    w.endObject();
    w.endArray();
  } else {
    w.null();
  }
  w.endObject();
}

void writeMeta(JsonWriter& w) {
  w.key("meta");
  w.beginObject();
  w.field("status", 200);
  w.field("next_after", "1700037000");
  w.endObject();
}

std::string messagePage(int count) {
  Random r{42};
  JsonWriter w;
  w.beginObject();
  writeMeta(w);
  w.key("data");
  w.beginArray();
  for (int i = 0; i < count; ++i) writeMessage(w, r, i);
  w.endArray();
  w.endObject();
  return std::move(w).take();
}

std::string dialogPage(int count) {
  Random r{7};
  JsonWriter w;
  w.beginObject();
  writeMeta(w);
  w.key("data");
  w.beginArray();
  for (int i = 0; i < count; ++i) {
    w.beginObject();
    w.field("id", std::to_string(70000 + i));
    w.field("created", std::int64_t{1690000000} + i);
    w.field("replied", r.below(2) == 0);
    w.field("message", sentence(r));
    w.field("type", "conversation");
    w.field("reply_type", "text");
    w.key("part_last");
    writeMessage(w, r, i * 20);
    w.field("parts_count", std::int64_t{1 + r.below(200)});
    w.key("last_admin");
    writePerson(w, r, 500 + r.below(5));
    w.field("last_update", std::int64_t{1700000000} + i);
    w.field("unread_parts_count", std::int64_t{r.below(4)});
    w.key("body_json");
    w.null();
    w.field("user_unread_count", std::int64_t{r.below(3)});
    if (r.below(4) == 0) w.field("expirationTime", std::int64_t{1800000000} + i);
    w.endObject();
  }
  w.endArray();
  w.endObject();
  return std::move(w).take();
}

const std::string& messages() {
  static const std::string page = messagePage(1000);
  return page;
}
const std::string& dialogs() {
  static const std::string page = dialogPage(300);
  return page;
}

// --- the peer: nlohmann-json, the way a typical client writes it ------------------------

JsonValue toJsonValue(const json& j) {
  switch (j.type()) {
    case json::value_t::string: return JsonValue(j.get<std::string>());
    case json::value_t::number_integer: return JsonValue(j.get<std::int64_t>());
    case json::value_t::number_unsigned: {
      auto u = j.get<std::uint64_t>();
      if (u <= static_cast<std::uint64_t>(INT64_MAX)) return JsonValue(static_cast<std::int64_t>(u));
      return JsonValue(static_cast<double>(u));
    }
    case json::value_t::number_float: return JsonValue(j.get<double>());
    case json::value_t::boolean: return JsonValue(j.get<bool>());
    case json::value_t::object: {
      JsonValue::Object members;
      for (auto it = j.begin(); it != j.end(); ++it) members.emplace(it.key(), toJsonValue(*it));
      return JsonValue(std::move(members));
    }
    case json::value_t::array: {
      JsonValue::Array elements;
      for (const auto& e : j) elements.push_back(toJsonValue(e));
      return JsonValue(std::move(elements));
    }
    default: return JsonValue();
  }
}

std::optional<JsonValue> optionalTree(const json& j, const char* key) {
  if (!j.contains(key) || j[key].is_null()) return std::nullopt;
  return toJsonValue(j[key]);
}

Message peerMessage(const json& j) {
  std::string id;
  if (j.contains("id")) {
    if (j["id"].is_string()) id = j["id"].get<std::string>();
    if (j["id"].is_number_integer()) id = std::to_string(j["id"].get<std::int64_t>());
  }
  std::int64_t randomId = j.contains("random_id") && j["random_id"].is_number_integer()
                              ? j["random_id"].get<std::int64_t>()
                              : 0;
  bool read = j.contains("read") && j["read"].is_boolean() ? j["read"].get<bool>() : false;
  std::optional<std::string> conversation;
  if (j.contains("conversation") && !j["conversation"].is_null()) {
    conversation = j["conversation"].get<std::string>();
  }
  return Message(std::move(id), randomId, j.at("body").get<std::string>(),
                 j.at("type").get<std::string>(), j.at("created").get<std::int64_t>(),
                 j.at("direction").get<std::string>(), read, j.at("sent_via").get<std::string>(),
                 j.at("reply_type").get<std::string>(), toJsonValue(j.at("from")),
                 std::move(conversation), optionalTree(j, "body_json"),
                 optionalTree(j, "meta_data"), optionalTree(j, "attachments"));
}

Meta peerMeta(const json& j) {
  Meta meta;
  meta.status = j.at("status").get<std::int64_t>();
  meta.error = j.contains("error") && j["error"].is_string()
                   ? std::optional(j["error"].get<std::string>())
                   : std::nullopt;
  if (j.contains("next_after") && j["next_after"].is_string()) {
    meta.nextAfter = j["next_after"].get<std::string>();
  }
  return meta;
}

Response<std::vector<Message>> peerMessages(const std::string& text) {
  json j = json::parse(text);
  Response<std::vector<Message>> out{peerMeta(j.at("meta")), {}};
  for (const auto& m : j.at("data")) out.data.push_back(peerMessage(m));
  return out;
}

Response<std::vector<Dialog>> peerDialogs(const std::string& text) {
  json j = json::parse(text);
  Response<std::vector<Dialog>> out{peerMeta(j.at("meta")), {}};
  for (const auto& d : j.at("data")) {
    const json& a = d.at("last_admin");
    auto admin = std::make_shared<Admin>(
        a.contains("id") && a["id"].is_string() ? std::optional(a["id"].get<std::string>())
                                                : std::nullopt,
        a.at("type").get<std::string>(), a.at("name").get<std::string>(),
        a.at("avatar").get<std::string>());
    std::optional<std::string> message;
    if (d.contains("message") && !d["message"].is_null()) message = d["message"].get<std::string>();
    std::optional<std::int64_t> expiration;
    if (d.contains("expirationTime") && d["expirationTime"].is_number_integer()) {
      expiration = d["expirationTime"].get<std::int64_t>();
    }
    out.data.emplace_back(d.at("id").get<std::string>(), d.at("created").get<std::int64_t>(),
                          d.value("replied", false), std::move(message),
                          d.at("type").get<std::string>(), d.at("reply_type").get<std::string>(),
                          std::make_shared<Message>(peerMessage(d.at("part_last"))),
                          d.at("parts_count").get<std::ptrdiff_t>(), std::move(admin),
                          d.at("last_update").get<std::int64_t>(),
                          d.at("unread_parts_count").get<std::ptrdiff_t>(),
                          optionalTree(d, "body_json"), d.at("user_unread_count").get<std::ptrdiff_t>(),
                          expiration);
  }
  return out;
}

// --- benchmarks ------------------------------------------------------------------------

template <class T>
void ours(benchmark::State& state, const std::string& page) {
  for (auto _ : state) {
    auto result = tavrel::decodeJson<Response<std::vector<T>>>(page);
    if (!result) state.SkipWithError(result.error().what());
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * page.size()));
}

void limit(benchmark::State& state, const std::string& page) {
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(page).get(root)) state.SkipWithError("simdjson refused the page");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * page.size()));
}

template <class F>
void peer(benchmark::State& state, const std::string& page, F decode) {
  for (auto _ : state) {
    auto result = decode(page);
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * page.size()));
}

void BM_Messages_Ours(benchmark::State& s) { ours<Message>(s, messages()); }
void BM_Messages_Limit(benchmark::State& s) { limit(s, messages()); }
void BM_Messages_Peer(benchmark::State& s) { peer(s, messages(), peerMessages); }
void BM_Dialogs_Ours(benchmark::State& s) { ours<Dialog>(s, dialogs()); }
void BM_Dialogs_Limit(benchmark::State& s) { limit(s, dialogs()); }
void BM_Dialogs_Peer(benchmark::State& s) { peer(s, dialogs(), peerDialogs); }
BENCHMARK(BM_Messages_Ours);
BENCHMARK(BM_Messages_Limit);
BENCHMARK(BM_Messages_Peer);
BENCHMARK(BM_Dialogs_Ours);
BENCHMARK(BM_Dialogs_Limit);
BENCHMARK(BM_Dialogs_Peer);

// --- paired ratios ----------------------------------------------------------------------
// The speed of a shared machine drifts by as much as 2x within seconds, which
// makes ratios of separate runs meaningless. So the ratios come from rounds
// that time both sides back to back, one decode each, and keep the median of
// the per-round ratios.

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class F>
double timeOnce(F&& run) {
  double start = cpuSeconds();
  run();
  return cpuSeconds() - start;
}

// Median over `rounds` of (time of b) / (time of a): how many times faster a is.
template <class A, class B>
double pairedSpeedup(int rounds, A&& a, B&& b) {
  std::vector<double> ratios;
  for (int i = 0; i < rounds; ++i) {
    double ta = timeOnce(a);
    double tb = timeOnce(b);
    ratios.push_back(tb / ta);
  }
  std::nth_element(ratios.begin(), ratios.begin() + rounds / 2, ratios.end());
  return ratios[static_cast<std::size_t>(rounds / 2)];
}

template <class T, class Bare, class Peer>
void printRatios(const char* name, const std::string& page, Peer peerDecode) {
  simdjson::dom::parser parser, bareParser;
  auto decodeOurs = [&] {
    auto result = tavrel::decodeJson<Response<std::vector<T>>>(page);
    if (!result) std::abort();
    benchmark::DoNotOptimize(result);
  };
  auto parseOnly = [&] {
    simdjson::dom::element root;
    if (parser.parse(page).get(root)) std::abort();
    benchmark::DoNotOptimize(root);
  };
  auto bareWalk = [&] {
    bare::Walk walk(bareParser, page);
    auto records = walk.data<Bare>();
    benchmark::DoNotOptimize(records);
  };
  auto decodePeer = [&] {
    auto result = peerDecode(page);
    benchmark::DoNotOptimize(result);
  };
  for (int i = 0; i < 20; ++i) decodeOurs(), parseOnly(), bareWalk();  // warm caches and pools
  double ofLimit = 1.0 / pairedSpeedup(400, parseOnly, decodeOurs);
  double bareOfLimit = 1.0 / pairedSpeedup(400, parseOnly, bareWalk);
  double overPeer = pairedSpeedup(40, decodeOurs, decodePeer);
  std::printf("%-8s paired medians: ours/limit (simdjson DOM) %.2f (goal 0.5)  ours/peer (nlohmann) "
              "%.1fx (goal 5x)\n",
              name, ofLimit, overPeer);
  std::printf("%-8s bare walk (copies only, no checks; see bare_walk.h)/limit %.2f\n", name,
              bareOfLimit);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::printf("message page: 1000 messages, %zu bytes; dialog page: 300 dialogs, %zu bytes"
              " (MB/s below: 10^6 bytes per CPU second)\n",
              messages().size(), dialogs().size());
  benchmark::RunSpecifiedBenchmarks();
  printRatios<Message, bare::Message>("Messages", messages(), peerMessages);
  printRatios<Dialog, bare::Dialog>("Dialogs", dialogs(), peerDialogs);
  benchmark::Shutdown();
  return 0;
}
