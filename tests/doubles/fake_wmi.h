// A WMI of the test's own, in the place of the system's: while a FakeWmi lives, the WMI locator
// that CoCreateInstance makes in this process is one of its objects. It answers queries with given
// objects, fails where it is told to, logs every call with its arguments and counts its objects.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace fake_wmi {

// Null, a text (VT_BSTR), a VT_I4 or a VT_R8.
using PropertyValue = std::variant<std::monostate, std::wstring, std::int32_t, double>;
using Object = std::map<std::wstring, PropertyValue>;

struct QueryAnswer {
  HRESULT result = S_OK;  // of ExecQuery
  std::vector<Object> objects;
  HRESULT end = 1;  // of Next after the last object; WBEM_S_FALSE by default
};

struct Script {
  HRESULT create_result = S_OK;
  HRESULT connect_result = S_OK;
  HRESULT blanket_result = S_OK;
  std::map<std::wstring, QueryAnswer> queries;  // by query text; any other query fails
};

struct Fake {
  Script script;
  std::vector<std::string> calls;
  int live_objects = 0;
};

// The calling thread must be in a COM apartment, and stay in it until the destruction.
class FakeWmi {
 public:
  explicit FakeWmi(Script script);
  ~FakeWmi();
  FakeWmi(const FakeWmi&) = delete;
  FakeWmi& operator=(const FakeWmi&) = delete;

  // Such as "ConnectServer(ROOT\CIMV2, null, null, null, 0, null, null)", oldest first.
  [[nodiscard]] const std::vector<std::string>& calls() const { return fake_.calls; }
  // The objects that somebody still holds, apart from the class factory.
  [[nodiscard]] int live_objects() const { return fake_.live_objects; }

 private:
  Fake fake_;
  DWORD registration_ = 0;
};

}  // namespace fake_wmi
