// A shared library that is loaded when it is first needed, instead of at the start of every
// process.
//
// For a library that brings many others along and that most processes never call: finding and
// relocating them all costs a process milliseconds before its first instruction.
#pragma once

#include <dlfcn.h>

#include <cstdio>

namespace varn {

// The base of a table of a library's functions. A derived class lists them as members,
//
//     decltype(&::deflate) deflate = Find("deflate");
//
// and is best a static object of a function: the first call then loads the library, for good. It
// has no destructor, so objects that end after it may still call what it found.
class LateLibrary {
  public:
    // False when the library, or one of the functions that were looked for, is not there; nothing
    // of it may be called then.
    explicit operator bool() const noexcept { return problem_[0] == '\0'; }
    // The dynamic linker's words about that; "" when there is nothing to say.
    const char *Problem() const noexcept { return problem_; }

  protected:
    // A function of whatever type it is assigned to.
    class Symbol {
      public:
        explicit Symbol(void *address) noexcept : address_(address) {}
        template <typename Function>
        operator Function *() const noexcept {
            return reinterpret_cast<Function *>(address_);
        }

      private:
        void *address_;
    };

    // `name` is the one that programs are linked to, with the version of the interface
    // ("libz.so.1").
    explicit LateLibrary(const char *name) noexcept : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            KeepProblem();
        }
    }

    // A program that brings the function along, itself or with its libraries, has it called there:
    // two copies of one library would not know each other's objects.
    Symbol Find(const char *function) noexcept {
        void *address = handle_ != nullptr ? dlsym(RTLD_DEFAULT, function) : nullptr;
        if (handle_ != nullptr && address == nullptr) {
            address = dlsym(handle_, function);
        }
        if (address == nullptr && *this) {
            KeepProblem();
        }
        return Symbol(address);
    }

  private:
    void KeepProblem() noexcept {
        const char *text = dlerror();
        std::snprintf(problem_, sizeof problem_, "%s",
                      text != nullptr ? text : "a function has no address");
    }

    void *handle_;
    char problem_[256] = "";
};

}  // namespace varn
