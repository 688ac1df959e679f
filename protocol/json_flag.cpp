#include "protocol/json_flag.h"

namespace capture_service {
namespace {

using json11::Json;

const Json& kTrue = *new Json(true);
const Json& kFalse = *new Json(false);

}  // namespace

const Json& JsonFlag(bool value) { return value ? kTrue : kFalse; }

}  // namespace capture_service
