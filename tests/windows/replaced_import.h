// Answers of a test's own for Windows functions that the code under test calls. Code reaches an
// imported function through a pointer, which the linker takes from the import library unless the
// program has it itself: so a program can call the system or a test, without a change to the code.
#pragma once

#include <windows.h>

#include <type_traits>

// Makes the pointer to the function `name`, which the system's `module` exports, the program's own.
// At file scope outside of all namespaces, once in a program.
#define REPLACEABLE_IMPORT(module, name)                                                 \
  extern "C" {                                                                           \
  decltype(&(name)) __imp_##name = windows_test::SystemFunction(&(name), module, #name); \
  }

namespace windows_test {

template <typename Function>
Function* SystemFunction(Function* /*type*/, const wchar_t* module, const char* name) {
  // The way over a pointer without a type keeps compilers from comparing the two types.
  return reinterpret_cast<Function*>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(module), name)));
}

// Puts `replacement` in the place of an import for its own lifetime.
template <typename Function>
class ReplacedImport {
 public:
  ReplacedImport(Function*& import, std::type_identity_t<Function>* replacement)
      : import_(import), system_(import) {
    import_ = replacement;  // NOLINT(cppcoreguidelines-prefer-member-initializer): a reference
  }
  ~ReplacedImport() { import_ = system_; }
  ReplacedImport(const ReplacedImport&) = delete;
  ReplacedImport& operator=(const ReplacedImport&) = delete;

 private:
  Function*& import_;
  Function* system_;
};

}  // namespace windows_test
