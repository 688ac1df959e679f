#include "tests/e2e/holdings.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/owned_handle.h"
#include "platform/registry_key.h"

namespace e2e {
namespace {

// NtQuerySystemInformation's answer about all handles of the machine. GetProcessHandleCount would
// be simpler, but Wine's always says 0.
constexpr int kExtendedHandleInformation = 64;
constexpr auto kLengthMismatch = static_cast<LONG>(0xC0000004);  // STATUS_INFO_LENGTH_MISMATCH
using QuerySystemInformation = LONG(WINAPI*)(int kind, void* answer, ULONG size, ULONG* needed);
struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator_back_trace;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};
struct HandleInformation {
  ULONG_PTR count;
  ULONG_PTR reserved;
};

// All handles of the machine; none when Windows does not tell.
std::vector<HandleEntry> AllHandles() {
  const FARPROC address =
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  QuerySystemInformation query = nullptr;
  std::memcpy(&query, &address, sizeof(query));
  std::vector<std::byte> answer(1U << 16U);
  LONG status = kLengthMismatch;
  while (status == kLengthMismatch) {
    answer.resize(answer.size() * 2);
    status = query(kExtendedHandleInformation, answer.data(), static_cast<ULONG>(answer.size()),
                   nullptr);
  }
  if (status != 0) return {};

  HandleInformation information = {};
  std::memcpy(&information, answer.data(), sizeof(information));
  std::vector<HandleEntry> entries(information.count);
  std::memcpy(entries.data(), answer.data() + sizeof(information),
              entries.size() * sizeof(HandleEntry));
  return entries;
}

struct HandleCounts {
  std::size_t keys = 0;
  std::size_t others = 0;
};

HandleCounts CountHandles(DWORD process) {
  // Which number stands for keys is told by one that is known.
  const platform::OwnedRegistryKey known = platform::OpenMachineKey(L"SOFTWARE");
  const std::vector<HandleEntry> all = AllHandles();
  const auto own = std::find_if(all.begin(), all.end(), [&](const HandleEntry& entry) {
    return entry.process == GetCurrentProcessId() &&
           entry.handle == reinterpret_cast<ULONG_PTR>(known.get());
  });
  HandleCounts counts;
  for (const HandleEntry& entry : all) {
    if (entry.process != process) continue;
    ++(own != all.end() && entry.type == own->type ? counts.keys : counts.others);
  }
  return counts;
}

std::size_t CountThreads(DWORD process) {
  const platform::OwnedHandle snapshot =
      platform::OwnFile(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 thread = {};
  thread.dwSize = sizeof(thread);
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &thread); more;
       more = Thread32Next(snapshot.get(), &thread)) {
    if (thread.th32OwnerProcessID == process) ++count;
  }
  return count;
}

}  // namespace

Holdings HoldingsOf(const ChildProcess& process) {
  PROCESS_MEMORY_COUNTERS memory = {};
  GetProcessMemoryInfo(process.Handle(), &memory, sizeof(memory));
  const HandleCounts handles = CountHandles(process.Id());
  return {.handles = handles.others,
          .registry_keys = handles.keys,
          .threads = CountThreads(process.Id()),
          .private_bytes = memory.PagefileUsage};
}

}  // namespace e2e
