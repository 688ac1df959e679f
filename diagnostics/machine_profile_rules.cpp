#include "diagnostics/machine_profile_rules.h"

namespace capture_service {
namespace {

template <typename Facts>
std::string Join(const std::vector<Facts>& devices, std::string Facts::*text) {
  std::string joined;
  bool first = true;
  for (const Facts& device : devices) {
    if (!first) joined += '/';
    first = false;
    joined += device.*text;
  }
  return joined;
}

// The part before the first zero character.
std::string UpToZero(const std::string& text) { return text.substr(0, text.find('\0')); }

}  // namespace

MachineProfile OperatingSystemTags(const std::vector<OperatingSystemFacts>& systems) {
  if (systems.empty()) return {};
  return {{"OS_ARCH", systems.back().architecture}, {"OS_VERSION", systems.back().version}};
}

MachineProfile ProcessorTags(const std::vector<ProcessorFacts>& processors) {
  return {{"CPU_NAME", Join(processors, &ProcessorFacts::name)},
          {"CPU_VENDOR", Join(processors, &ProcessorFacts::vendor)}};
}

MachineProfile VideoControllerTags(const std::vector<VideoControllerFacts>& controllers) {
  return {{"GPU_NAME", Join(controllers, &VideoControllerFacts::name)},
          {"GPU_VENDOR", Join(controllers, &VideoControllerFacts::vendor)},
          {"GPU_DRIVER_VERSION", Join(controllers, &VideoControllerFacts::driver_version)},
          {"GPU_RAM", Join(controllers, &VideoControllerFacts::memory)}};
}

std::string AdapterMemoryText(std::optional<std::int32_t> adapter_ram,
                              std::optional<std::uint64_t> driver_memory) {
  if (driver_memory.value_or(0) != 0) return std::to_string(*driver_memory);
  if (adapter_ram.has_value()) return std::to_string(static_cast<std::uint32_t>(*adapter_ram));
  return {};
}

MachineProfile FirmwareTags(const FirmwareFacts& firmware) {
  MachineProfile tags;
  if (firmware.bios_vendor && firmware.bios_version && firmware.bios_release_date) {
    tags["BIOS_VERSION"] = UpToZero(*firmware.bios_vendor) + " " +
                           UpToZero(*firmware.bios_version) + " " +
                           UpToZero(*firmware.bios_release_date);
  }
  if (firmware.system_product_name) tags["MOBO_MODEL"] = *firmware.system_product_name;
  if (firmware.system_manufacturer) tags["MOBO_VENDOR"] = *firmware.system_manufacturer;
  return tags;
}

std::string TotalMemoryText(std::optional<std::uint64_t> bytes) {
  return bytes.has_value() ? std::to_string(*bytes) : std::string();
}

std::string ElevationText(std::optional<std::uint32_t> type) {
  switch (type.value_or(0)) {
    case 1:
      return "default";
    case 2:
      return "full";
    case 3:
      return "limited";
    default:
      return "unknown";
  }
}

std::string GpuSchedulingText(std::optional<std::uint32_t> mode) {
  constexpr std::uint32_t kHardwareScheduling = 2;
  return mode == kHardwareScheduling ? "On" : "Off";
}

}  // namespace capture_service
