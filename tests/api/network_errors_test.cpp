#include <gtest/gtest.h>

#include <stdexcept>

#include "api/api_fixture.h"
#include "rx/recorder.h"
#include "tavrel/api/network_errors_builder.h"
#include "tavrel/http/moya_error.h"

namespace tavrel {
namespace {

using Error = std::optional<UIRepresentableError>;

TEST(NetworkErrorsBuilder, MapsStatusCodesAndThrownErrors) {
  NetworkErrorsBuilder builder;
  const auto late = UIRepresentableError::custom("Превышен лимит времени на запрос");
  const std::vector<std::tuple<int, std::optional<std::string>, Error>> statuses{
      {299, {}, {}}, {500, {}, {}}, {404, {}, UIRepresentableError::custom("Не найдено")},
      {404, "x", UIRepresentableError::custom("x")}, {408, {}, late}, {502, "x", late}};
  for (const auto& [status, notFound, expected] : statuses) {
    EXPECT_EQ(builder.error(status, notFound), expected) << status;
  }
  auto under = [](URLError::Code code) {
    return std::make_exception_ptr(MoyaError::underlying(URLError(code)));
  };
  const std::vector<std::pair<std::exception_ptr, Error>> thrown{
      {std::make_exception_ptr(UIRepresentableError::debug("d")), UIRepresentableError::debug("d")},
      {under(URLError::Code::notConnectedToInternet), UIRepresentableError::noInternet()},
      {under(URLError::Code::timedOut), {}},
      {std::make_exception_ptr(MoyaError::statusCode(HttpResponse{})), {}},
      {std::make_exception_ptr(URLError(URLError::Code::notConnectedToInternet)), {}},
      {nullptr, {}}};
  for (std::size_t i = 0; i < thrown.size(); ++i) {
    EXPECT_EQ(builder.uiError(thrown[i].first), thrown[i].second) << "case " << i;
  }
  // An underlying error that is no URLError: an empty debug line.
  rx::rxtest::CapturedLines debug;
  EXPECT_EQ(builder.uiError(std::make_exception_ptr(
                MoyaError::underlying(std::make_exception_ptr(std::runtime_error("io"))))),
            std::nullopt);
  EXPECT_EQ(debug.lines, std::vector<std::string>{""});
}

// Elements before a failure pass; the failure becomes one Result error and
// the end, empty when no error is known; a stream that does not fail is
// unchanged.
TEST(NetworkErrorsBuilder, CatchErrorEndsTheStreamWithOneError) {
  auto then = [](auto first, URLError::Code code) {
    using R = Result<decltype(first)>;
    return rx::error<R>(std::make_exception_ptr(MoyaError::underlying(URLError(code)))).startWith(R(first));
  };
  auto ints = test::await(catchError(then(3, URLError::Code::notConnectedToInternet)));
  EXPECT_TRUE(ints.completed);
  EXPECT_EQ(ints.elements, (std::vector<Result<int>>{3, UIRepresentableError::noInternet()}));
  EXPECT_EQ(test::await(catchError(then(true, URLError::Code::timedOut))).elements,
            (std::vector<Result<bool>>{true, UIRepresentableError::empty()}));
  EXPECT_EQ(test::await(catchError(rx::just(Result<int>(1)))).elements, std::vector<Result<int>>{1});
}

}  // namespace
}  // namespace tavrel
