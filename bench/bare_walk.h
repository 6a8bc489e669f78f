#pragma once
// The bare walk: the least any decoder of the benchmark's pages does after
// the parser is done. It walks simdjson's tape once and makes only the copies
// that the records own: each text into its std::string, each free-form tree
// into a shared block, each nested record into its shared_ptr. Beyond telling
// keys apart it checks nothing (no types, no required keys, no error paths, no
// repeated keys), and it knows only the benchmark's pages. What it leaves of
// the parser's speed bounds what a checked decoder of the same records can
// reach. It reads the tape as core/json_tape.h states, like the decoders.

#include <simdjson.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/json_tape.h"

namespace bare {

namespace tape = tavrel::detail::tape;

// A free-form tree copied into a block that many trees share, as kept trees are.
struct Block {
  int refs = 1;
  std::uint32_t used = 0;
  char bytes[4096];
};

struct Tree {
  Tree() = default;
  Tree(Block* block, std::uint32_t offset) : block_(block), offset_(offset) {}
  Tree(Tree&& other) noexcept : block_(std::exchange(other.block_, nullptr)), offset_(other.offset_) {}
  Tree& operator=(Tree&& other) noexcept {
    std::swap(block_, other.block_);
    offset_ = other.offset_;
    return *this;
  }
  ~Tree() {
    if (block_ && --block_->refs == 0) delete block_;
  }

 private:
  Block* block_ = nullptr;
  std::uint32_t offset_ = 0;
};

struct Message {
  std::string id;
  std::int64_t randomId = 0;
  std::string body, type;
  std::int64_t created = 0;
  std::string direction;
  bool read = false;
  std::string sentVia, replyType;
  Tree from;
  std::optional<std::string> conversation;
  Tree bodyJson, metaData, attachments;
};

struct Admin {
  std::optional<std::string> id;
  std::string type, name, avatar;
};

struct Dialog {
  std::string id;
  std::int64_t created = 0;
  bool replied = false;
  std::optional<std::string> message;
  std::string type, replyType;
  std::shared_ptr<Message> partLast;
  std::int64_t partsCount = 0;
  std::shared_ptr<Admin> lastAdmin;
  std::int64_t lastUpdate = 0, unreadPartsCount = 0;
  Tree bodyJson;
  std::int64_t userUnreadCount = 0;
  std::optional<std::int64_t> expirationTime;
};

class Walk {
 public:
  Walk(simdjson::dom::parser& parser, const std::string& page) {
    if (parser.parse(page).error()) std::abort();
    tape_ = tape::wordsOf(parser.doc);
    strings_ = tape::stringsOf(parser.doc);
  }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;
  ~Walk() {
    if (block_ && --block_->refs == 0) delete block_;
  }

  // The records of the page's "data" array.
  template <class Record>
  std::vector<Record> data() {
    std::vector<Record> out;
    for (std::size_t at = tape::kRoot + 1; at < close(tape::kRoot); at = after(at + 1)) {
      if (!is(text(at), "data")) continue;
      out.reserve(tape::count(tape_[at + 1]));
      for (std::size_t e = at + 2; e < close(at + 1); e = after(e)) read(out.emplace_back(), e);
    }
    return out;
  }

 private:
  static char type(std::uint64_t word) { return tape::typeOf(word); }
  // A key compare of known length, which compiles to a few loads.
  template <std::size_t N>
  static bool is(std::string_view key, const char (&literal)[N]) {
    return key.size() == N - 1 && std::memcmp(key.data(), literal, N - 1) == 0;
  }
  std::size_t close(std::size_t at) const { return tape::closing(tape_[at]); }
  std::size_t after(std::size_t at) const { return tape::after(tape_, at); }
  std::string_view text(std::size_t at) const {
    return tape::textAt(strings_ + tape::stringOffset(tape_[at]));
  }
  std::int64_t integer(std::size_t at) const { return tape::numberAfter<std::int64_t>(tape_, at); }

  // Copies the tree at `at` (an object or array) and its strings into a block.
  Tree keep(std::size_t at) {
    char t = type(tape_[at]);
    if (t != '{' && t != '[') return {};
    std::size_t end = close(at) + 1, begin = 0, stop = 0;
    bool any = false;
    if (t == '{' && type(tape_[end]) == '"') {
      any = true; begin = tape::stringOffset(tape_[at + 1]); stop = tape::stringOffset(tape_[end]); end = at;
    }
    for (std::size_t i = at; i < end; ++i) {
      char w = type(tape_[i]);
      if (w == 'l' || w == 'u' || w == 'd') ++i;  // the number's own word
      if (w != '"') continue;
      std::size_t offset = tape::stringOffset(tape_[i]);
      if (!any) begin = offset;
      any = true;
      stop = offset + 5 + text(i).size();
    }
    end = close(at) + 1;
    std::size_t words = (end - at) * 8, size = words + ((stop - begin + 7) & ~std::size_t{7});
    if (!block_ || sizeof block_->bytes - block_->used < size) {
      if (block_ && --block_->refs == 0) delete block_;
      block_ = new Block;
    }
    std::uint32_t offset = block_->used;
    std::memcpy(block_->bytes + offset, tape_ + at, words);
    if (any) std::memcpy(block_->bytes + offset + words, strings_ + begin, stop - begin);
    block_->used += static_cast<std::uint32_t>(size);
    ++block_->refs;
    return {block_, offset};
  }

  // Keys are told apart by length, then by their text.
  void read(Message& m, std::size_t object) {
    for (std::size_t k = object + 1; k < close(object); k = after(k + 1)) {
      std::string_view key = text(k);
      std::size_t v = k + 1;
      switch (key.size()) {
        case 2:
          if (!is(key, "id")) break;
          if (type(tape_[v]) == '"') m.id.assign(text(v)); else m.id = std::to_string(integer(v));
          break;
        case 4:
          if (is(key, "body")) m.body.assign(text(v));
          else if (is(key, "type")) m.type.assign(text(v));
          else if (is(key, "read")) m.read = type(tape_[v]) == 't';
          else if (is(key, "from")) m.from = keep(v);
          break;
        case 7: if (is(key, "created")) m.created = integer(v); break;
        case 8: if (is(key, "sent_via")) m.sentVia.assign(text(v)); break;
        case 9:
          if (is(key, "random_id")) m.randomId = integer(v);
          else if (is(key, "direction")) m.direction.assign(text(v));
          else if (is(key, "body_json")) m.bodyJson = keep(v);
          else if (is(key, "meta_data")) m.metaData = keep(v);
          break;
        case 10: if (is(key, "reply_type")) m.replyType.assign(text(v)); break;
        case 11: if (is(key, "attachments")) m.attachments = keep(v); break;
        case 12: if (is(key, "conversation")) m.conversation.emplace(text(v)); break;
        default: break;
      }
    }
  }

  void read(Admin& a, std::size_t object) {
    for (std::size_t k = object + 1; k < close(object); k = after(k + 1)) {
      std::string_view key = text(k);
      switch (key.size()) {
        case 2: if (is(key, "id")) a.id.emplace(text(k + 1)); break;
        case 4:
          if (is(key, "type")) a.type.assign(text(k + 1));
          else if (is(key, "name")) a.name.assign(text(k + 1));
          break;
        case 6: if (is(key, "avatar")) a.avatar.assign(text(k + 1)); break;
        default: break;
      }
    }
  }

  void read(Dialog& d, std::size_t object) {
    for (std::size_t k = object + 1; k < close(object); k = after(k + 1)) {
      std::string_view key = text(k);
      std::size_t v = k + 1;
      switch (key.size()) {
        case 2: if (is(key, "id")) d.id.assign(text(v)); break;
        case 4: if (is(key, "type")) d.type.assign(text(v)); break;
        case 7:
          if (is(key, "created")) d.created = integer(v);
          else if (is(key, "replied")) d.replied = type(tape_[v]) == 't';
          else if (is(key, "message")) d.message.emplace(text(v));
          break;
        case 9:
          if (is(key, "part_last")) read(*(d.partLast = std::make_shared<Message>()), v);
          else if (is(key, "body_json")) d.bodyJson = keep(v);
          break;
        case 10:
          if (is(key, "reply_type")) d.replyType.assign(text(v));
          else if (is(key, "last_admin")) read(*(d.lastAdmin = std::make_shared<Admin>()), v);
          break;
        case 11:
          if (is(key, "parts_count")) d.partsCount = integer(v);
          else if (is(key, "last_update")) d.lastUpdate = integer(v);
          break;
        case 14: if (is(key, "expirationTime")) d.expirationTime = integer(v); break;
        case 17: if (is(key, "user_unread_count")) d.userUnreadCount = integer(v); break;
        case 18: if (is(key, "unread_parts_count")) d.unreadPartsCount = integer(v); break;
        default: break;
      }
    }
  }

  const std::uint64_t* tape_;
  const std::uint8_t* strings_;
  Block* block_ = nullptr;  // the block being filled
};

}  // namespace bare
