#pragma once
// Route tables for the service tests: each row calls one operation of a
// service made in one mode, answers it with an envelope, and names the
// request that must have gone out, byte for byte, and logged without its
// token.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "api/api_fixture.h"

namespace tavrel::test {

enum class Mode { app, sdk, none };

inline std::string envelope(const std::string& data) {
  return R"({"meta":{"status":200},"data":)" + data + "}";
}

// Whether each element of a stream of Results is a success.
template <class T>
rx::Observable<bool> succeeded(const rx::Observable<T>& stream) {
  return stream.map([](const T& result) { return result.succeed(); });
}

template <class Service>
struct Route {
  std::string name;
  Mode mode;
  std::function<rx::Observable<bool>(const Service&)> call;
  std::string data;  // the "data" of the answer, which must decode
  std::string method, path, query, body;
};

class RouteFixture : public ApiFixture {
 protected:
  std::shared_ptr<NetworkSettings> settings(Mode mode) const {
    return mode == Mode::app ? appSettings() : mode == Mode::sdk ? sdkSettings() : nullptr;
  }

  template <class Service>
  void checkRoutes(const std::vector<Route<Service>>& routes) {
    for (std::size_t i = 0; i < routes.size(); ++i) {
      const auto& r = routes[i];
      SCOPED_TRACE(r.name + " #" + std::to_string(i));
      Service service(settings(r.mode), &transport);
      server.enqueue(Reply::json(200, envelope(r.data)));
      DebugCapture log;
      auto run = await(r.call(service));
      // The verbose log shows the request but never the token.
      EXPECT_NE(log.text().find(r.path.substr(r.path.rfind('/'))), std::string::npos);
      EXPECT_EQ(log.text().find("appm-7-tok"), std::string::npos);
      EXPECT_TRUE(run.completed);
      EXPECT_EQ(run.elements, std::vector<bool>{true});
      auto all = server.requests();
      ASSERT_EQ(all.size(), i + 1);
      EXPECT_EQ(all.back().method, r.method);
      EXPECT_EQ(all.back().path, r.path);
      EXPECT_EQ(all.back().query, r.query);
      EXPECT_EQ(all.back().body, r.body);
      if (!r.body.empty()) {
        EXPECT_EQ(all.back().header("Content-Type"),
                  "application/x-www-form-urlencoded; charset=utf-8");
      }
    }
  }
};

}  // namespace tavrel::test
