#include "tools/zip_file.h"

#include <zip.h>

#include <memory>
#include <stdexcept>

#include "platform/text_encoding.h"

namespace host_tools {
namespace {

struct ZipDiscarder {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
using OwnedZip = std::unique_ptr<zip_t, ZipDiscarder>;

// Frees what libzip keeps behind an error.
class ZipError {
 public:
  ZipError() { zip_error_init(&error_); }
  ~ZipError() { zip_error_fini(&error_); }
  ZipError(const ZipError&) = delete;
  ZipError& operator=(const ZipError&) = delete;

  zip_error_t* Out() { return &error_; }
  [[noreturn]] void Throw(const std::filesystem::path& path) {
    Throw(path, zip_error_strerror(&error_));
  }
  [[noreturn]] static void Throw(const std::filesystem::path& path, const std::string& why) {
    throw std::runtime_error("Cannot write " + platform::Utf8FromWide(path.wstring()) + ": " + why +
                             ". Name a new file in a folder that can be written to.");
  }

 private:
  zip_error_t error_{};
};

OwnedZip CreateZip(const std::filesystem::path& path) {
  ZipError error;
  zip_source_t* const file = zip_source_win32w_create(path.c_str(), 0, -1, error.Out());
  if (file == nullptr) error.Throw(path);
  // Takes the source over unless it fails.
  OwnedZip archive(zip_open_from_source(file, ZIP_CREATE | ZIP_EXCL, error.Out()));
  if (!archive) {
    zip_source_free(file);
    error.Throw(path);
  }
  return archive;
}

}  // namespace

void WriteZip(const std::filesystem::path& path, const std::vector<ZipMember>& members) {
  OwnedZip archive = CreateZip(path);
  for (const ZipMember& member : members) {
    // The content is read when the archive is closed.
    zip_source_t* const content =
        zip_source_buffer(archive.get(), member.content.data(), member.content.size(), 0);
    // Takes the source over unless it fails.
    if (content == nullptr ||
        zip_file_add(archive.get(), member.name.c_str(), content, ZIP_FL_ENC_UTF_8) < 0) {
      const std::string why = zip_strerror(archive.get());
      zip_source_free(content);
      ZipError::Throw(path, why);
    }
  }
  if (zip_close(archive.get()) != 0) ZipError::Throw(path, zip_strerror(archive.get()));
  static_cast<void>(archive.release());  // Closing has freed it.
}

}  // namespace host_tools
