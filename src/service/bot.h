#pragma once
// The built-in operator: after a visitor's message it types for a moment
// ("conversation_typing"), then answers from the help centre or with an
// acknowledgement, as an operator's part pushed on "conversation_reply". It
// stays silent in a conversation that a person has taken over.

#include <boost/asio/io_context.hpp>

#include <chrono>

#include "service/router.h"
#include "service/store.h"

namespace tavrel::service {

class Bot {
 public:
  Bot(boost::asio::io_context& io, Router& router, Store& store, std::chrono::milliseconds delay)
      : io_(io), router_(router), store_(store), delay_(delay) {}

  // Runs on the server's I/O thread, where the router calls it.
  void visitorWrote(const ConversationRow& conversation, const PartRow& part);

 private:
  boost::asio::io_context& io_;
  Router& router_;
  Store& store_;
  std::chrono::milliseconds delay_;
};

}  // namespace tavrel::service
