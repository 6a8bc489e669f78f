#include "tavrel/model/coding_keys.h"

#include <gtest/gtest.h>

#include <string>

namespace tavrel {
namespace {

// The whole table in case order, as the service spells the keys.
TEST(CodingKeys, RawValuesInCaseOrder) {
  const char* expected =
      "id created replied message type reply_type part_last parts_count last_admin "
      "last_update unread_parts_count body_json user_unread_count status error "
      "error_message next_after random_id body direction read sent_via from conversation "
      "meta_data name avatar after paginate_include paginate_position paginate_direction "
      "next_before_position channel attachments filename mime_type url size comment vote "
      "loading auth_token result user icon description short_description content quote "
      "articles_counter category_id expirationTime";
  std::string all;
  for (std::size_t i = 0; i < codingKeyCount; ++i) {
    if (i) all += ' ';
    all += rawValue(static_cast<CodingKeys>(i));
  }
  EXPECT_EQ(all, expected);
}

TEST(CodingKeys, LookupFromStringGoesThroughRawValues) {
  for (std::size_t i = 0; i < codingKeyCount; ++i) {
    auto key = static_cast<CodingKeys>(i);
    EXPECT_EQ(codingKeyFromString(rawValue(key)), key) << rawValue(key);
  }
  for (const char* unknown : {"paginate_including", "randomId", "ID", "", "id "}) {
    EXPECT_EQ(codingKeyFromString(unknown), std::nullopt) << unknown;
  }
  EXPECT_EQ(codingKeyFromString(std::string_view("id\0", 3)), std::nullopt);
}

}  // namespace
}  // namespace tavrel
