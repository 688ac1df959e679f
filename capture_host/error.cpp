#include "capture_host/error.h"

namespace capture_host {

std::string Describe(const Error& error) {
  std::string text = error.what;
  if (!error.where.empty()) text += " (" + error.where + ")";
  if (!error.advice.empty()) text += " " + error.advice;
  return text;
}

}  // namespace capture_host
