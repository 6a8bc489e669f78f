#include "tavrel/model/user_property.h"

#include <gtest/gtest.h>

#include <string>

#include "model/json_edit.h"

namespace tavrel {
namespace {

using Op = UserProperty::Operations;
using testing::failurePath;

const std::pair<Op, std::string_view> kWireValues[] = {
    {Op::updateOrCreate, "update_or_create"}, {Op::setOnce, "set_once"}, {Op::add, "add"},
    {Op::delete_, "delete"}, {Op::append, "append"}, {Op::union_, "union"},
    {Op::exclude, "exclude"}};

TEST(UserProperty, EveryOperationEncodesAndDecodesAsItsWireValue) {
  for (const auto& [op, wire] : kWireValues) {
    EXPECT_EQ(rawValue(op), wire);
    EXPECT_EQ(operationFromRawValue(wire), op);
    const UserProperty property("age", "42", op);
    EXPECT_EQ(encodeJson(property).value(),
              R"({"op":")" + std::string(wire) + R"(","key":"age","value":"42"})");
    const std::string in = R"({"operation":")" + std::string(wire) + R"(","key":"k","value":"v"})";
    auto decoded = decodeJson<UserProperty>(in);
    ASSERT_TRUE(decoded) << in;
    EXPECT_EQ(decoded.value(), UserProperty("k", "v", op));
  }
  for (std::string_view other : {"replace", "Add", "update-or-create", ""}) {
    EXPECT_EQ(operationFromRawValue(other), std::nullopt) << other;
  }
}

TEST(UserProperty, TheTwoKeySetsDifferInTheOperationKey) {
  EXPECT_EQ(rawValue(UserProperty::CodingKeys::operation), "operation");
  EXPECT_EQ(rawValue(UserProperty::DataCodingKeys::operation), "op");
  // So what encode writes does not decode back.
  const std::string written = encodeJson(UserProperty("age", "42", Op::add)).value();
  auto back = decodeJson<UserProperty>(written);
  ASSERT_FALSE(back);
  EXPECT_EQ(back.error().kind(), DecodingError::Kind::keyNotFound);
  EXPECT_EQ(back.error().path(), "operation");
}

TEST(UserProperty, DecodeRequiresAllThreeInOrder) {
  struct Case {
    std::string json;
    std::string path;
  } cases[] = {
      {R"({"operation":"replace","key":"k","value":"v"})", "operation"},
      {R"({"operation":"ADD","key":"k","value":"v"})", "operation"},
      {R"({"operation":1,"key":"k","value":"v"})", "operation"},
      {R"({"op":"add","key":"k","value":"v"})", "operation"},
      {R"({"operation":"add","value":"v"})", "key"},
      {R"({"operation":"add","key":null,"value":"v"})", "key"},
      {R"({"operation":"add","key":"k","value":42})", "value"},
      {R"({"operation":"add","key":"k"})", "value"},
      {R"({"operation":"replace","value":1})", "operation"},
      {R"({"operation":"add","key":1,"value":1})", "key"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failurePath(decodeJson<UserProperty>(c.json)), c.path) << c.json;
  }
  EXPECT_EQ(decodeJson<UserProperty>(cases[0].json).error().kind(),
            DecodingError::Kind::dataCorrupted);
}

}  // namespace
}  // namespace tavrel
