#pragma once
// What a cut-off transfer leaves beside its partial file so that it can go
// on later, and where both live.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel::detail {

struct ResumeRecord {
  std::string url;           // the transfer's key
  std::string directory;     // below the manager's base
  std::string name;          // the final file name
  std::string etag;          // the server's validators, "" when it sent none
  std::string lastModified;
  std::uint64_t bytes = 0;   // flushed to the partial file

  // The validator for If-Range: the ETag when it is a strong one, else the
  // Last-Modified date; "" when neither can vouch for the bytes.
  std::string validator() const;
};

// "<base>/<directory>/.partial", and the two files of a key in it.
std::filesystem::path partialFolder(const std::filesystem::path& base, std::string_view directory);
std::filesystem::path partialFile(const std::filesystem::path& folder, std::string_view key);
std::filesystem::path recordFile(const std::filesystem::path& folder, std::string_view key);

// Writes the record to a temporary file and renames it over the old one.
bool writeRecord(const std::filesystem::path& file, const ResumeRecord& record);
// Nothing for a missing or malformed file.
std::optional<ResumeRecord> readRecord(const std::filesystem::path& file);
// Every record in "<base>/*/.partial/".
std::vector<ResumeRecord> findRecords(const std::filesystem::path& base);

}  // namespace tavrel::detail
