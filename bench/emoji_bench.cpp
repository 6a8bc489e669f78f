// Throughput of both emoji conversions on a chat-like text, and the cost of
// the first conversion in a fresh process. bench/run_emoji.sh runs this
// beside the JavaScript peers and prints the comparison.
//
//   bench_emoji [google benchmark flags]   MB/s of escaping and unescaping
//   bench_emoji --write-corpus DIR         writes DIR/text.txt, DIR/escaped.txt
//   bench_emoji --first-use                microseconds of the first calls
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "tavrel/emoji/conversion.h"
#include "tavrel/emoji/emoji.h"

namespace {

using tavrel::Emoji;

// A fixed pseudo-random sequence, the same on every platform.
class Sequence {
 public:
  std::uint32_t below(std::uint32_t n) {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>((state_ >> 33) % n);
  }

 private:
  std::uint64_t state_ = 0x5EED;
};

// Chat messages: Russian and English words, numbers, punctuation, a line
// break every dozen words or so, and about one emoji in eight words, half of
// them from a short list of everyday ones, half from the whole catalogue.
std::string chatText(std::size_t minBytes) {
  static const char* const kWords[] = {
      "привет", "как",   "дела",     "спасибо", "хорошо",   "сегодня", "завтра", "встреча", "давай",
      "конечно", "может", "потом",   "отлично", "заказ",    "доставка", "вопрос", "ответ",   "почему",
      "сейчас", "время", "работает", "сообщение", "помогите", "нет",    "да",     "это",     "мы",
      "hello",  "thanks", "order",   "delivery", "today",   "tomorrow", "please", "support", "the",
      "is",     "ok",     "great",   "see",      "you",     "and",      "ticket", "refund",  "app",
      "update", "login",  "password", "works",   "now",     "why",      "what",   "when",    "with"};
  static const Emoji kEveryday[] = {
      Emoji::thumbsup,   Emoji::heart,  Emoji::joy,      Emoji::smile,  Emoji::wink,
      Emoji::pray,       Emoji::fire,   Emoji::tada,     Emoji::ok_hand, Emoji::thinking,
      Emoji::sob,        Emoji::blush,  Emoji::rofl,     Emoji::eyes,   Emoji::white_check_mark,
      Emoji::thumbsup_tone3, Emoji::flag_ru, Emoji::rocket, Emoji::wave, Emoji::slight_smile};
  const auto all = tavrel::allCases<Emoji>();
  Sequence random;
  std::string text;
  text.reserve(minBytes + 256);
  while (text.size() < minBytes) {
    const std::uint32_t kind = random.below(64);
    if (kind < 8) {
      const Emoji e = kind < 4 ? kEveryday[random.below(std::size(kEveryday))]
                               : all[random.below(static_cast<std::uint32_t>(all.size()))];
      text += tavrel::codepoints(e)[0];
    } else if (kind < 12) {
      text += std::to_string(random.below(kind < 11 ? 100 : 10000));
      if (kind == 8) {  // a time of day
        text += ':';
        text += std::to_string(10 + random.below(50));
      }
    } else {
      text += kWords[random.below(std::size(kWords))];
      if (kind == 63) text += ',';
    }
    text += random.below(12) == 0 ? '\n' : ' ';
  }
  return text;
}

const std::string& text() {
  static const std::string t = chatText(std::size_t{4} << 20);
  return t;
}

const std::string& escapedText() {
  static const std::string t = tavrel::emojiEscapedString(text());
  return t;
}

void Escape(benchmark::State& state) {
  const std::string& input = text();
  for (auto _ : state) benchmark::DoNotOptimize(tavrel::emojiEscapedString(input));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}
BENCHMARK(Escape)->Unit(benchmark::kMillisecond);

void Unescape(benchmark::State& state) {
  const std::string& input = escapedText();
  for (auto _ : state) benchmark::DoNotOptimize(tavrel::emojiUnescapedString(input));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}
BENCHMARK(Unescape)->Unit(benchmark::kMillisecond);

int writeCorpus(const std::string& dir) {
  for (const auto& [name, content] : {std::pair{"/text.txt", &text()}, {"/escaped.txt", &escapedText()}}) {
    std::ofstream out(dir + name, std::ios::binary);
    out.write(content->data(), static_cast<std::streamsize>(content->size()));
    if (!out) {
      std::fprintf(stderr, "bench_emoji: cannot write %s%s\n", dir.c_str(), name);
      return 1;
    }
  }
  return 0;
}

// The first escaping and the first unescaping of this process, nothing
// warmed up before them.
int firstUse() {
  using Clock = std::chrono::steady_clock;
  const std::string message = "Заказ 42 готов \xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD, спасибо!";
  const auto t0 = Clock::now();
  const std::string escaped = tavrel::emojiEscapedString(message);
  const auto t1 = Clock::now();
  const std::string unescaped = tavrel::emojiUnescapedString(escaped);
  const auto t2 = Clock::now();
  const auto us = [](auto d) { return std::chrono::duration<double, std::micro>(d).count(); };
  std::printf("first_use_us escape %.2f unescape %.2f%s\n", us(t1 - t0), us(t2 - t1),
              unescaped == message ? "" : " MISMATCH");
  return unescaped == message ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--write-corpus") == 0) return writeCorpus(argv[2]);
  if (argc == 2 && std::strcmp(argv[1], "--first-use") == 0) return firstUse();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
