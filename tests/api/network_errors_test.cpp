#include "tavrel/api/network_errors_builder.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/api_fixture.h"
#include "tavrel/http/moya_error.h"

namespace tavrel {
namespace {

using Error = std::optional<UIRepresentableError>;

TEST(NetworkErrorsBuilder, MapsStatusCodes) {
  struct Case {
    int status;
    std::optional<std::string> notFoundText;
    Error expected;
  };
  const auto timeout = UIRepresentableError::custom("Превышен лимит времени на запрос");
  const std::vector<Case> cases{
      {200, std::nullopt, std::nullopt},
      {299, std::nullopt, std::nullopt},
      {300, std::nullopt, std::nullopt},
      {199, std::nullopt, std::nullopt},
      {404, std::nullopt, UIRepresentableError::custom("Не найдено")},
      {404, "x", UIRepresentableError::custom("x")},
      {404, "", UIRepresentableError::custom("")},
      {408, std::nullopt, timeout},
      {502, "x", timeout},
      {500, std::nullopt, std::nullopt},
      {503, std::nullopt, std::nullopt},
  };
  NetworkErrorsBuilder builder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    EXPECT_EQ(builder.error(c.status, c.notFoundText), c.expected);
  }
}

TEST(NetworkErrorsBuilder, MapsThrownErrors) {
  struct Case {
    std::string name;
    std::exception_ptr error;
    Error expected;
  };
  auto underlying = [](URLError::Code code) {
    return std::make_exception_ptr(MoyaError::underlying(URLError(code)));
  };
  const std::vector<Case> cases{
      {"debug", std::make_exception_ptr(UIRepresentableError::debug("d")),
       UIRepresentableError::debug("d")},
      {"empty", std::make_exception_ptr(UIRepresentableError::empty()),
       UIRepresentableError::empty()},
      {"not connected", underlying(URLError::Code::notConnectedToInternet),
       UIRepresentableError::noInternet()},
      {"timed out", underlying(URLError::Code::timedOut), std::nullopt},
      {"cannot connect", underlying(URLError::Code::cannotConnectToHost), std::nullopt},
      {"status code", std::make_exception_ptr(MoyaError::statusCode(HttpResponse{})), std::nullopt},
      {"parameter encoding", std::make_exception_ptr(MoyaError::parameterEncoding("x")),
       std::nullopt},
      {"not a MoyaError", std::make_exception_ptr(URLError(URLError::Code::notConnectedToInternet)),
       std::nullopt},
      {"runtime_error", std::make_exception_ptr(std::runtime_error("x")), std::nullopt},
      {"not an exception", std::make_exception_ptr(42), std::nullopt},
      {"null", nullptr, std::nullopt},
  };
  NetworkErrorsBuilder builder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(builder.uiError(c.error), c.expected);
  }

  // An underlying error that is no URLError says so with an empty line.
  test::DebugCapture debug;
  EXPECT_EQ(builder.uiError(std::make_exception_ptr(
                MoyaError::underlying(std::make_exception_ptr(std::runtime_error("io"))))),
            std::nullopt);
  EXPECT_EQ(debug.lines(), std::vector<std::string>{""});
}

// catchError ends a failed stream with one Result error; elements before the
// failure pass, a stream that does not fail is unchanged.
TEST(NetworkErrorsBuilder, CatchErrorEndsTheStreamWithOneError) {
  auto failing = [](auto first, std::exception_ptr error) {
    using V = decltype(first);
    return rx::Observable<Result<V>>::create([first, error](const rx::Observer<Result<V>>& o) {
      o.onNext(Result<V>(first));
      o.onError(error);
      return rx::Disposable();
    });
  };
  auto offline = std::make_exception_ptr(
      MoyaError::underlying(URLError(URLError::Code::notConnectedToInternet)));
  auto timedOut = std::make_exception_ptr(MoyaError::underlying(URLError(URLError::Code::timedOut)));

  auto ints = test::await(catchError(failing(3, offline)));
  EXPECT_TRUE(ints.completed);
  ASSERT_EQ(ints.elements.size(), 2u);
  EXPECT_EQ(ints.elements[0], Result<int>(3));
  EXPECT_EQ(ints.elements[1], Result<int>(UIRepresentableError::noInternet()));

  auto bools = test::await(catchError(failing(true, timedOut)));
  EXPECT_TRUE(bools.completed);
  ASSERT_EQ(bools.elements.size(), 2u);
  EXPECT_TRUE(bools.elements[0].requestSucceed());
  EXPECT_EQ(bools.elements[1], Result<bool>(UIRepresentableError::empty()));
  EXPECT_FALSE(bools.elements[1].requestSucceed());

  auto custom = test::await(
      catchError(rx::error<Result<bool>>(std::make_exception_ptr(UIRepresentableError::custom("c")))));
  ASSERT_EQ(custom.elements.size(), 1u);
  EXPECT_EQ(custom.elements[0], Result<bool>(UIRepresentableError::custom("c")));

  auto fine = test::await(catchError(rx::just(Result<int>(1))));
  EXPECT_TRUE(fine.completed);
  EXPECT_EQ(fine.elements, std::vector<Result<int>>{Result<int>(1)});
}

}  // namespace
}  // namespace tavrel
