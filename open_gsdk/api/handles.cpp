#include "open_gsdk/api/handles.h"

#include <exception>

namespace open_gsdk {
namespace {

template <typename Table>
Table& Immortal() {
  static Table& table = *new Table;
  return table;
}

}  // namespace

SessionTable& Sessions() { return Immortal<SessionTable>(); }
PropertiesTable& Properties() { return Immortal<PropertiesTable>(); }
RecorderTable& Recorders() { return Immortal<RecorderTable>(); }
ErrorTable& Errors() { return Immortal<ErrorTable>(); }
PacketTable& Packets() { return Immortal<PacketTable>(); }
AudioInputTable& AudioInputs() { return Immortal<AudioInputTable>(); }

gsdk_error* NewError(ErrorCode code, const std::string& message) noexcept {
  try {
    return Errors().Add(std::make_shared<const Error>(Error{code, message}));
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace open_gsdk
