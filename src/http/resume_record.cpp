#include "http/resume_record.h"

#include <cstdio>
#include <fstream>
#include <system_error>

#include "tavrel/http/download_manager.h"

namespace tavrel::detail {
namespace fs = std::filesystem;
namespace {

// FNV-1a: a stable file name for a key, the same in every build.
std::string hashName(std::string_view key) {
  std::uint64_t h = 14695981039346656037ull;
  for (unsigned char c : key) {
    h ^= c;
    h *= 1099511628211ull;
  }
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(h));
  return text;
}

constexpr std::string_view kFields[] = {"url", "directory", "name", "etag", "last-modified",
                                        "bytes"};

}  // namespace

std::string ResumeRecord::validator() const {
  if (!etag.empty() && !etag.starts_with("W/")) return etag;
  return lastModified;
}

fs::path partialFolder(const fs::path& base, std::string_view directory) {
  return base / fs::path(directory) / ".partial";
}

fs::path partialFile(const fs::path& folder, std::string_view key) {
  return folder / (hashName(key) + ".part");
}

fs::path recordFile(const fs::path& folder, std::string_view key) {
  return folder / (hashName(key) + ".resume");
}

bool writeRecord(const fs::path& file, const ResumeRecord& r) {
  const fs::path temporary = file.string() + ".new";
  {
    std::ofstream out(temporary, std::ios::trunc);
    out << "url " << r.url << "\ndirectory " << r.directory << "\nname " << r.name << "\netag "
        << r.etag << "\nlast-modified " << r.lastModified << "\nbytes " << r.bytes << "\n";
    if (!out.flush()) return false;
  }
  std::error_code ec;
  fs::rename(temporary, file, ec);
  return !ec;
}

std::optional<ResumeRecord> readRecord(const fs::path& file) {
  std::ifstream in(file);
  ResumeRecord r;
  std::string* texts[] = {&r.url, &r.directory, &r.name, &r.etag, &r.lastModified};
  std::string line;
  for (std::size_t i = 0; i < std::size(kFields); ++i) {
    if (!std::getline(in, line)) return std::nullopt;
    const auto space = line.find(' ');
    if (line.substr(0, space) != kFields[i]) return std::nullopt;
    const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
    if (i < 5) {
      *texts[i] = value;
    } else {
      try {
        r.bytes = std::stoull(value);
      } catch (...) {
        return std::nullopt;
      }
    }
  }
  if (r.url.empty() || !unsafeFileNameReason(r.directory).empty() || !unsafeFileNameReason(r.name).empty()) {
    return std::nullopt;
  }
  return r;
}

std::vector<ResumeRecord> findRecords(const fs::path& base) {
  std::vector<ResumeRecord> found;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(base, ec)) {
    const fs::path folder = entry.path() / ".partial";
    if (!fs::is_directory(folder, ec)) continue;
    for (const auto& file : fs::directory_iterator(folder, ec)) {
      if (file.path().extension() != ".resume") continue;
      auto record = readRecord(file.path());
      // A record names its own folder; one copied elsewhere is not followed.
      if (record && partialFolder(base, record->directory) == folder &&
          recordFile(folder, record->url) == file.path()) {
        found.push_back(std::move(*record));
      }
    }
  }
  return found;
}

}  // namespace tavrel::detail

namespace tavrel {

std::string unsafeFileNameReason(std::string_view c) {
  if (c.empty()) return "it is empty";
  if (c == "." || c == "..") return "it is \"" + std::string(c) + "\"";
  for (unsigned char ch : c) {
    if (ch == '/' || ch == '\\') return "it holds \"" + std::string(1, static_cast<char>(ch)) + "\"";
    if (ch < 0x20 || ch == 0x7f) return "it holds a control character";
  }
  return "";
}

}  // namespace tavrel
