// From what the system says about the machine to the tags of the profile: joining, choosing and
// formatting, without any system call. Texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/profile_tags.h"

namespace capture_service {

struct OperatingSystemFacts {
  std::string architecture;
  std::string version;
};

struct ProcessorFacts {
  std::string name;
  std::string vendor;
};

struct VideoControllerFacts {
  std::string name;
  std::string vendor;
  std::string driver_version;
  std::string memory;  // AdapterMemoryText
};

// The firmware's registry values, each none when it could not be read or has no character at all.
// They may end in the zero character that the registry counts as part of a text; it alone is a
// text.
struct FirmwareFacts {
  std::optional<std::string> system_manufacturer;
  std::optional<std::string> system_product_name;
  std::optional<std::string> bios_vendor;
  std::optional<std::string> bios_version;
  std::optional<std::string> bios_release_date;
};

// OS_ARCH and OS_VERSION of the last object; no tag when there is none.
MachineProfile OperatingSystemTags(const std::vector<OperatingSystemFacts>& systems);

// CPU_NAME and CPU_VENDOR, all processors' texts joined with "/"; empty when there is none.
MachineProfile ProcessorTags(const std::vector<ProcessorFacts>& processors);

// GPU_NAME, GPU_VENDOR, GPU_DRIVER_VERSION and GPU_RAM, joined like the processors'.
MachineProfile VideoControllerTags(const std::vector<VideoControllerFacts>& controllers);

// An adapter's memory in bytes: the driver's figure unless it is missing or zero, else the
// adapter's own, whose 32 bits are read without a sign; empty when there is neither.
std::string AdapterMemoryText(std::optional<std::int32_t> adapter_ram,
                              std::optional<std::uint64_t> driver_memory);

// BIOS_VERSION from its three parts, each cut at its first zero character, when all of them are
// there; MOBO_MODEL and MOBO_VENDOR as they stand. A value that is missing gives no tag.
MachineProfile FirmwareTags(const FirmwareFacts& firmware);

// TOTAL_RAM: a decimal number of bytes; empty for none.
std::string TotalMemoryText(std::optional<std::uint64_t> bytes);

// The name of a TOKEN_ELEVATION_TYPE; "unknown" for none or another number.
std::string ElevationText(std::optional<std::uint32_t> type);

// "On" for the scheduler mode 2, "Off" for none or another number.
std::string GpuSchedulingText(std::optional<std::uint32_t> mode);

}  // namespace capture_service
