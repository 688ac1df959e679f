// ZIP archives.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host_tools {

struct ZipMember {
  std::string name;  // UTF-8, with slashes between folders
  std::string content;
};

// Writes an archive with the members in their order; the file appears at `path` once it is
// complete. Throws std::runtime_error with a sentence for people when it cannot be written or
// exists already.
void WriteZip(const std::filesystem::path& path, const std::vector<ZipMember>& members);

}  // namespace host_tools
