#include "export/MosquittoLibrary.h"

#include <dlfcn.h>

#include <string>

namespace ldexport {

namespace {

// The loader's reason for the last failure, or a fixed text when it has none.
std::string loaderReason() {
  const char* reason = dlerror();
  return reason != nullptr ? reason : "no reason given";
}

}  // namespace

base::Status MosquittoLibrary::load(const char* soname) {
  if (loaded_) return base::Status::Ok();
  void* handle = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    return base::Status::Error("--mqtt", std::string("needs ") + soname + ": " + loaderReason());
  }
  // Resolved into a copy first, so that a library missing one function leaves
  // this object as it was. The handle is kept open for the process's life.
  MosquittoLibrary resolved;
  const char* missing = nullptr;
#define LDX_MOSQUITTO_RESOLVE(symbol, member)                                              \
  if (missing == nullptr) {                                                                \
    resolved.member = reinterpret_cast<decltype(resolved.member)>(dlsym(handle, #symbol)); \
    if (resolved.member == nullptr) missing = #symbol;                                     \
  }
  LDX_MOSQUITTO_FUNCTIONS(LDX_MOSQUITTO_RESOLVE)
#undef LDX_MOSQUITTO_RESOLVE
  if (missing != nullptr) {
    dlclose(handle);
    return base::Status::Error("--mqtt", std::string(soname) + " has no " + missing);
  }
  *this = resolved;
  loaded_ = true;
  return base::Status::Ok();
}

}  // namespace ldexport
