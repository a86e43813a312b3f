// libmosquitto, loaded when the MQTT output is asked for and not before.
//
// libmosquitto links OpenSSL: an exporter linked against it maps libssl and
// libcrypto and relocates them at every start, about 1.8 MiB resident and
// 0.4 MiB of private pages, whether it publishes over MQTT or not. Loading the
// library with dlopen only for --mqtt keeps all of that out of the exporter
// that only writes the Prometheus file or serves Modbus.
//
// load() opens the library by its soname and resolves every function the MQTT
// output calls (the table below) or fails with one line naming what is
// missing; a loaded library stays loaded for the process's life (it is never
// closed: its network thread may outlive a stopped output). The members are
// the functions, with libmosquitto's own signatures (from <mosquitto.h>).
//
// Thread-safety: load() is for one thread before the functions are used; after
// it, the object is only read.
#ifndef EXPORT_MOSQUITTOLIBRARY_H_
#define EXPORT_MOSQUITTOLIBRARY_H_

#include <mosquitto.h>

#include "base/Status.h"

namespace ldexport {

// Every libmosquitto function the MQTT output calls: X(symbol, member).
#define LDX_MOSQUITTO_FUNCTIONS(X)                            \
  X(mosquitto_lib_init, libInit)                              \
  X(mosquitto_lib_cleanup, libCleanup)                        \
  X(mosquitto_strerror, strerror)                             \
  X(mosquitto_connack_string, connackString)                  \
  X(mosquitto_new, create)                                    \
  X(mosquitto_destroy, destroy)                               \
  X(mosquitto_threaded_set, threadedSet)                      \
  X(mosquitto_int_option, intOption)                          \
  X(mosquitto_will_set, willSet)                              \
  X(mosquitto_username_pw_set, usernamePwSet)                 \
  X(mosquitto_tls_set, tlsSet)                                \
  X(mosquitto_connect_callback_set, connectCallbackSet)       \
  X(mosquitto_disconnect_callback_set, disconnectCallbackSet) \
  X(mosquitto_publish_callback_set, publishCallbackSet)       \
  X(mosquitto_message_callback_set, messageCallbackSet)       \
  X(mosquitto_connect_async, connectAsync)                    \
  X(mosquitto_loop, loop)                                     \
  X(mosquitto_publish, publish)                               \
  X(mosquitto_subscribe, subscribe)                           \
  X(mosquitto_disconnect, disconnect)

class MosquittoLibrary {
 public:
  // The soname of Debian's libmosquitto1.
  static constexpr const char* kSoname = "libmosquitto.so.1";

  // Loads soname and resolves every function; on failure no member is set and
  // the message names soname and the loader's reason.
  base::Status load(const char* soname = kSoname);

  bool loaded() const { return loaded_; }

#define LDX_MOSQUITTO_MEMBER(symbol, member) decltype(&::symbol) member = nullptr;
  LDX_MOSQUITTO_FUNCTIONS(LDX_MOSQUITTO_MEMBER)
#undef LDX_MOSQUITTO_MEMBER

 private:
  bool loaded_ = false;
};

}  // namespace ldexport

#endif  // EXPORT_MOSQUITTOLIBRARY_H_
