#include <gtest/gtest.h>

#include <cmath>

#include "http/test_target.h"
#include "tavrel/http/endpoint.h"
#include "tavrel/http/parameter_encoding.h"

namespace tavrel {
namespace {

using test::FakeTarget;

TEST(URLEncoding, QueryFollowsTheFormRules) {
  JsonValue::Object nested{{"b", JsonValue(2)}, {"a", JsonValue("x y")}};
  struct Row {
    Parameters parameters;
    URLEncoding encoding;
    std::string expected;
  };
  const URLEncoding standard;
  URLEncoding literal;
  literal.boolEncoding = URLEncoding::BoolEncoding::literal;
  URLEncoding noBrackets;
  noBrackets.arrayEncoding = URLEncoding::ArrayEncoding::noBrackets;
  const Row rows[] = {
      {{{"b", 1}, {"k y", "z"}}, standard, "b=1&k%20y=z"},
      {{{"flag", true}, {"off", false}}, standard, "flag=1&off=0"},
      {{{"flag", true}, {"off", false}}, literal, "flag=true&off=false"},
      {{{"n", -7}, {"d", 1.5}, {"w", 15.0}}, standard, "d=1.5&n=-7&w=15.0"},
      {{{"s", ":#[]@!$&'()*+,;=%20\xd0\xb4"}}, standard,
       "s=%3A%23%5B%5D%40%21%24%26%27%28%29%2A%2B%2C%3B%3D%2520%D0%B4"},
      {{{"s", "-._~/?"}}, standard, "s=-._~/?"},
      {{{"o", JsonValue(nested)}}, standard, "o%5Ba%5D=x%20y&o%5Bb%5D=2"},
      {{{"l", JsonValue(JsonValue::Array{1, "two"})}}, standard, "l%5B%5D=1&l%5B%5D=two"},
      {{{"l", JsonValue(JsonValue::Array{1, "two"})}}, noBrackets, "l=1&l=two"},
      {{{"l", JsonValue(JsonValue::Array{})}, {"z", ""}}, standard, "z="},
      {{{"nothing", JsonValue()}}, standard, "nothing="},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.encoding.query(row.parameters), row.expected) << row.expected;
  }
}

TEST(URLEncoding, DestinationDecidesBetweenQueryAndBody) {
  const Parameters params{{"a", 1}};
  struct Row {
    Method method;
    URLEncoding encoding;
    std::string url;
    std::string body;
  };
  const std::string base = "https://h/p?x=0#frag";
  const Row rows[] = {
      {Method::get, URLEncoding::default_(), "https://h/p?x=0&a=1#frag", ""},
      {Method::post, URLEncoding::default_(), base, "a=1"},
      {Method::post, URLEncoding::queryString(), "https://h/p?x=0&a=1#frag", ""},
      {Method::get, URLEncoding::httpBody(), base, "a=1"},
  };
  for (const auto& row : rows) {
    HttpRequest request;
    request.method = row.method;
    request.url = base;
    EXPECT_EQ(row.encoding.encode(request, params), std::nullopt);
    EXPECT_EQ(request.url, row.url) << toString(row.method);
    EXPECT_EQ(request.body, row.body) << toString(row.method);
    EXPECT_EQ(request.header("Content-Type").has_value(), !row.body.empty());
  }

  HttpRequest form;
  form.url = "https://h/p";
  URLEncoding::queryString().encode(form, {});
  EXPECT_EQ(form.url, "https://h/p");  // no "?" for nothing
  form.headers = {{"content-type", "text/plain"}};
  URLEncoding::httpBody().encode(form, {});
  EXPECT_EQ(form.body, "");
  EXPECT_EQ(form.header("Content-Type"), "text/plain");  // kept
  form.headers.clear();
  URLEncoding::httpBody().encode(form, params);
  EXPECT_EQ(form.header("Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
}

TEST(TargetURL, JoinsBaseAndPathAsAPathComponent) {
  struct Row {
    std::string base;
    std::string path;
    std::string expected;
  };
  const Row rows[] = {
      {"https://h/api/v1/", "conversations/1/reply", "https://h/api/v1/conversations/1/reply"},
      {"https://h/api/v1", "connect", "https://h/api/v1/connect"},
      {"https://h/api/", "/connect", "https://h/api/connect"},
      {"https://h/api/", "{path_root}/a b?c%d", "https://h/api/%7Bpath_root%7D/a%20b%3Fc%25d"},
      {"https://h/api/", "", "https://h/api/"},
      {"https://h/api/?k=v", "x", "https://h/api/x?k=v"},
  };
  for (const auto& row : rows) {
    FakeTarget target;
    target.base = row.base;
    target.route = row.path;
    EXPECT_EQ(URL(target), row.expected);
  }
}

TEST(Endpoint, BuildsTheRequestOfEachTask) {
  FakeTarget target;
  target.route = "x";
  target.verb = Method::post;
  target.fields = HeaderFields{{"X-A", "1"}};
  const Parameters body{{"user_id", "7"}, {"hash", "ab"}};
  const Parameters query{{"id_as_string", "1"}};

  struct Row {
    const char* name;
    Task task;
    std::string url;
    std::string body;
    std::optional<std::string> contentType;
  };
  const std::string url = "https://api.example.com/api/v1/x";
  const Row rows[] = {
      {"plain", Task::requestPlain(), url, "", std::nullopt},
      {"data", Task::requestData("raw"), url, "raw", std::nullopt},
      {"json encodable", Task::requestJSONEncodable(JsonValue(JsonValue::Array{1})), url, "[1]",
       "application/json"},
      {"parameters, default", Task::requestParameters(body, URLEncoding::default_()), url,
       "hash=ab&user_id=7", "application/x-www-form-urlencoded; charset=utf-8"},
      {"composite data", Task::requestCompositeData("raw", query), url + "?id_as_string=1", "raw",
       std::nullopt},
      {"composite parameters", Task::requestCompositeParameters(body, URLEncoding::httpBody(), query),
       url + "?id_as_string=1", "hash=ab&user_id=7",
       "application/x-www-form-urlencoded; charset=utf-8"},
      {"composite, empty query", Task::requestCompositeParameters(body, JSONEncoding(), {}), url,
       R"({"hash":"ab","user_id":"7"})", "application/json"},
      {"json, nothing", Task::requestParameters({}, JSONEncoding()), url, "{}", "application/json"},
  };
  for (const auto& row : rows) {
    target.work = row.task;
    auto built = defaultEndpointMapping(target).urlRequest();
    ASSERT_TRUE(std::holds_alternative<HttpRequest>(built)) << row.name;
    const auto& request = std::get<HttpRequest>(built);
    EXPECT_EQ(request.url, row.url) << row.name;
    EXPECT_EQ(request.method, Method::post) << row.name;
    EXPECT_EQ(request.body, row.body) << row.name;
    EXPECT_EQ(request.header("Content-Type"), row.contentType) << row.name;
    EXPECT_EQ(request.header("X-A"), "1") << row.name;
  }

  target.work = Task::uploadCompositeMultipart(
      {{"PNG", "file", std::string("a.png"), std::string("image/png")}, {"v", "note", {}, {}}},
      query);
  auto upload = std::get<HttpRequest>(defaultEndpointMapping(target).urlRequest());
  auto type = upload.header("Content-Type").value_or("");
  ASSERT_TRUE(type.starts_with("multipart/form-data; boundary="));
  auto boundary = type.substr(type.find('=') + 1);
  EXPECT_EQ(upload.body, "--" + boundary +
                             "\r\nContent-Disposition: form-data; name=\"file\"; "
                             "filename=\"a.png\"\r\nContent-Type: image/png\r\n\r\nPNG\r\n--" +
                             boundary + "\r\nContent-Disposition: form-data; name=\"note\"\r\n\r\nv\r\n--" +
                             boundary + "--\r\n");
  EXPECT_EQ(upload.url, url + "?id_as_string=1");
}

TEST(Endpoint, RefusesWhatCannotBecomeARequest) {
  FakeTarget target;
  target.base = "not a url";
  target.route = "x";
  auto failure = [&] {
    auto built = defaultEndpointMapping(target).urlRequest();
    EXPECT_TRUE(std::holds_alternative<MoyaError>(built));
    return std::holds_alternative<MoyaError>(built) ? std::get<MoyaError>(built)
                                                        : MoyaError::stringMapping(HttpResponse{});
  };
  EXPECT_EQ(failure().kind(), MoyaError::Kind::requestMapping);
  EXPECT_EQ(failure().url(), "not a url/x");

  target.base = "https://h/";
  target.work = Task::requestCompositeParameters({{"a", 1}}, URLEncoding::queryString(), {});
  EXPECT_EQ(failure().kind(), MoyaError::Kind::parameterEncoding);
  target.work = Task::requestParameters({{"a", std::nan("")}}, JSONEncoding());  // non-finite: no JSON
  EXPECT_EQ(failure().kind(), MoyaError::Kind::parameterEncoding);
}

}  // namespace
}  // namespace tavrel
