#include "capture_host/user_only_access.h"

#include <sddl.h>

#include <cstddef>
#include <string>
#include <vector>

namespace capture_host {
namespace {

// The user of this process as a text such as "S-1-5-21-..."; empty when Windows does not say.
std::wstring OwnUser() {
  HANDLE opened = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
  const platform::OwnedHandle token(opened);
  DWORD size = 0;
  GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
  std::vector<std::byte> buffer(size);
  if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) return {};
  wchar_t* text = nullptr;
  if (!ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid,
                              &text)) {
    return {};
  }
  const std::unique_ptr<wchar_t, platform::LocalMemoryFreer> owner(text);
  return text;
}

}  // namespace

UserOnlyAccess::UserOnlyAccess() {
  const std::wstring user = OwnUser();
  if (user.empty()) return;
  // A protected list, so that nothing is inherited, with one entry: everything for this user.
  const std::wstring list = L"D:P(A;;GA;;;" + user + L")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                            &descriptor, nullptr)) {
    return;
  }
  descriptor_.reset(descriptor);
  attributes_ = {sizeof(attributes_), descriptor, FALSE};
}

}  // namespace capture_host
