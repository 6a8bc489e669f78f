#pragma once
// The reference service: the service's side of every HTTP route and real-time
// frame that the library uses, for running the library on one machine.
//
// One port carries both: the HTTP API under "/api/v1/" (HTTP/1.1 with
// keep-alive) and the WebSocket under "/rts". Storage is SQLite in WAL mode,
// or memory alone with the path ":memory:".
//
// Threading: a `Server` runs its own I/O thread from `start` until `stop` or
// destruction. Every member function is thread-safe. The library does not
// link this module; the `tavrel` CLI and the tests do.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace tavrel::service {

// What a host passes to start a server.
struct ServerOptions {
  std::string listen = "127.0.0.1:8080";  // address:port; port 0 takes a free one
  std::string db = ":memory:";            // SQLite file, or ":memory:"
  bool bot = true;                        // the built-in operator bot answers visitors
  std::chrono::milliseconds botTypingDelay{800};  // how long the bot "types" before it answers
  std::chrono::seconds idleTimeout{30};   // a connection that sends nothing for this long is closed
};

// The credentials of one application in the service.
struct AppCredentials {
  std::string appId;           // the application's id
  std::string name;            // its name
  std::string apiKey;          // what a client sends to `connect`
  std::string identitySecret;  // the key of the HMAC-SHA256 hash of a known user's id
};

// Why a server did not start, in words for people ("port 8080 on 127.0.0.1
// is in use", "cannot open database /x/y.db: ...").
struct StartError {
  std::string message;
};

class Server {
 public:
  // Opens the database (creating the demo app on a new one), binds, and starts
  // serving. `created` is set to the demo app when this start created it.
  static std::variant<std::unique_ptr<Server>, StartError> start(ServerOptions options,
                                                                 AppCredentials* created = nullptr);

  ~Server();  // stops, as `stop` does
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::uint16_t port() const;
  std::string apiUrl() const;  // "http://HOST:PORT/api/v1/"
  std::string wssUrl() const;  // "ws://HOST:PORT/rts"

  // The first application of the database: the demo app.
  AppCredentials demoApp() const;
  // Adds an application; its id, key and secret are new and random.
  AppCredentials newApp(const std::string& name);

  // Closes the listener and every connection, and waits for the I/O thread.
  void stop();

 private:
  struct Impl;
  explicit Server(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace tavrel::service
