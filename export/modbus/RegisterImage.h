// One period's Modbus register map, registers 40000 up to the end model, as
// host-order 16-bit values (the server writes them big-endian on the wire).
//
// Thread-safety: a plain value; ImageExchange hands images between threads.
#ifndef EXPORT_MODBUS_REGISTERIMAGE_H_
#define EXPORT_MODBUS_REGISTERIMAGE_H_

#include <stdint.h>

#include "export/modbus/SunSpecTable.h"

namespace modbus {

struct RegisterImage {
  uint16_t registers[kRegisterCount] = {};
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_REGISTERIMAGE_H_
