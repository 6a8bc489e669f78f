// JSON decoding throughput on a realistic API answer of about 1 MB: the raw
// simdjson DOM parse (the limit), our JsonValue decoding, and for reference
// nlohmann::json parsing and our encoder. Prints ours/limit at the end.

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "tavrel/core/json_decoder.h"
#include "tavrel/core/json_writer.h"

namespace {

using tavrel::JsonWriter;

// Deterministic choices so that every run measures the same bytes.
struct Lcg {
  std::uint64_t state = 0x9E3779B97F4A7C15ull;
  std::uint32_t next() {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<std::uint32_t>(state >> 33);
  }
  template <class T, std::size_t N>
  const T& pick(const T (&items)[N]) {
    return items[next() % N];
  }
};

void writeMessage(JsonWriter& w, Lcg& rng, std::int64_t id) {
  static const char* const bodies[] = {
      "Здравствуйте! Подскажите, пожалуйста, как восстановить доступ к аккаунту? 🙏",
      "Спасибо, всё заработало 👍🎉",
      "Заказ №48213 всё ещё не пришёл, трек-номер не обновляется уже неделю 😕",
      "Hello! The app crashes when I open the settings screen on iPad.",
      "Добрый день, Анна. Мы передали ваш вопрос специалистам, ответим в течение часа.",
      "Можно ли оплатить картой «Мир»? 💳",
      "ok",
      "Перезагрузите приложение и попробуйте снова: Настройки → Аккаунт → Выйти 🔄",
  };
  static const char* const names[] = {"Анна Петрова", "Сергей", "Support Bot 🤖", "Мария К."};
  static const char* const types[] = {"reply", "note", "assignment", "close"};
  w.beginObject();
  w.field("id", id);
  w.field("random_id", static_cast<std::int64_t>(rng.next()) * 1000 + rng.next() % 1000);
  w.field("body", rng.pick(bodies));
  w.field("type", rng.pick(types));
  w.field("created", 1700000000 + id * 37);
  w.field("direction", rng.next() % 2 ? "u2a" : "a2u");
  w.field("read", rng.next() % 3 != 0);
  w.field("sent_via", "app");
  w.field("reply_type", "text");
  w.key("from");
  w.beginObject();
  w.field("type", "admin");
  w.field("id", static_cast<std::int64_t>(rng.next() % 50));
  w.field("name", rng.pick(names));
  w.field("avatar", "https://cdn.example.com/avatars/" + std::to_string(rng.next() % 50) + ".png");
  w.endObject();
  if (rng.next() % 2) {
    w.field("conversation", std::to_string(900000 + id / 10));
  } else {
    w.field("conversation", std::nullopt);
  }
  if (rng.next() % 3 == 0) {
    w.key("body_json");
    w.beginObject();
    w.key("blocks");
    w.beginArray();
    for (int i = 0; i < 3; ++i) {
      w.beginObject();
      w.field("type", i == 0 ? "text" : "link");
      w.field("text", rng.pick(bodies));
      w.field("bold", i == 1);
      w.endObject();
    }
    w.endArray();
    w.endObject();
  } else {
    w.field("body_json", std::nullopt);
  }
  w.key("meta_data");
  w.beginObject();
  w.key("client");
  w.beginObject();
  w.field("os", "iOS");
  w.field("version", "17.1.2");
  w.field("screen", std::vector<int>{1179, 2556});
  w.endObject();
  w.field("tags", std::vector<std::string>{"оплата", "доставка", "vip"});
  w.field("score", static_cast<double>(rng.next() % 50) / 10.0 + 0.25);
  w.field("latency", 0.001 * (rng.next() % 1000));
  w.field("note", std::nullopt);
  w.endObject();
  if (rng.next() % 4 == 0) {
    w.key("attachments");
    w.beginArray();
    w.beginObject();
    w.field("filename", "скриншот.png");
    w.field("mime_type", "image/png");
    w.field("size", static_cast<std::int64_t>(rng.next() % 5000000));
    w.field("url", "https://files.example.com/a/" + std::to_string(id) + "/скриншот.png");
    w.endObject();
    w.endArray();
  } else {
    w.field("attachments", std::nullopt);
  }
  w.endObject();
}

const std::string& answer() {
  static const std::string text = [] {
    JsonWriter w;
    Lcg rng;
    w.beginObject();
    w.key("meta");
    w.beginObject();
    w.field("status", 200);
    w.field("error", std::nullopt);
    w.field("error_message", std::nullopt);
    w.field("next_after", "1700000123.456");
    w.field("next_before_position", std::vector<std::string>{"abc"});
    w.endObject();
    w.key("data");
    w.beginArray();
    for (std::int64_t id = 1; w.text().size() < (1u << 20); ++id) writeMessage(w, rng, id);
    w.endArray();
    w.endObject();
    return std::move(w).take();
  }();
  return text;
}

void BM_SimdjsonDom(benchmark::State& state) {
  simdjson::padded_string padded(answer());
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(padded).get(root)) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer().size()));
}
BENCHMARK(BM_SimdjsonDom)->Unit(benchmark::kMicrosecond);

void BM_JsonValueDecode(benchmark::State& state) {
  for (auto _ : state) {
    auto result = tavrel::decodeJson<tavrel::JsonValue>(answer());
    if (!result) state.SkipWithError(result.error().what());
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer().size()));
}
BENCHMARK(BM_JsonValueDecode)->Unit(benchmark::kMicrosecond);

// Decoding keeps objects and arrays encoded until read: this one also reads
// every value of the tree, which builds all of it.
std::size_t readAll(const tavrel::JsonValue& v) {
  std::size_t count = 1;
  if (const auto* object = v.getIf<tavrel::JsonValue::Object>()) {
    for (const auto& member : *object) count += member.second ? readAll(*member.second) : 0;
  } else if (const auto* array = v.getIf<tavrel::JsonValue::Array>()) {
    for (const auto& element : *array) count += readAll(element);
  }
  return count;
}

void BM_JsonValueDecodeAndRead(benchmark::State& state) {
  for (auto _ : state) {
    auto result = tavrel::decodeJson<tavrel::JsonValue>(answer());
    if (!result) state.SkipWithError(result.error().what());
    benchmark::DoNotOptimize(readAll(result.value()));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer().size()));
}
BENCHMARK(BM_JsonValueDecodeAndRead)->Unit(benchmark::kMicrosecond);

void BM_NlohmannParse(benchmark::State& state) {
  for (auto _ : state) {
    auto tree = nlohmann::json::parse(answer());
    benchmark::DoNotOptimize(tree);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * answer().size()));
}
BENCHMARK(BM_NlohmannParse)->Unit(benchmark::kMicrosecond);

void BM_JsonValueEncode(benchmark::State& state) {
  auto tree = tavrel::decodeJson<tavrel::JsonValue>(answer()).value();
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto text = tavrel::encodeJson(tree);
    bytes = text.value().size();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_JsonValueEncode)->Unit(benchmark::kMicrosecond);

// Keeps each benchmark's rate so that main can print the ratios.
class RateReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> rates;  // bytes per second by benchmark name
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      auto it = run.counters.find("bytes_per_second");
      if (run.run_type == Run::RT_Iteration && it != run.counters.end()) {
        rates[run.run_name.function_name] = it->second.value;
      }
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("document: %zu bytes\n", answer().size());
  RateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  auto rate = [&](const char* name) {
    auto it = reporter.rates.find(name);
    return it == reporter.rates.end() ? 0.0 : it->second / 1e6;
  };
  double limit = rate("BM_SimdjsonDom");
  double ours = rate("BM_JsonValueDecode");
  std::printf("simdjson DOM parse (limit): %.0f MB/s\n", limit);
  std::printf("JsonValue decode:           %.0f MB/s\n", ours);
  std::printf("  and reading every value:  %.0f MB/s\n", rate("BM_JsonValueDecodeAndRead"));
  std::printf("nlohmann::json parse:       %.0f MB/s\n", rate("BM_NlohmannParse"));
  std::printf("JsonValue encode:           %.0f MB/s\n", rate("BM_JsonValueEncode"));
  if (limit > 0) std::printf("ratio ours/limit: %.3f\n", ours / limit);
  return 0;
}
