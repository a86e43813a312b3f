// The Modbus output of livedata_export: each period's Snapshot becomes one
// register image (the SunSpec models, see SunSpecTable.h) that the server
// answers from until the next period's. The reading loop never waits on the
// server or on any client: publish() encodes into an image the server is not
// reading and hands it over with one atomic exchange.
//
// Every source quantity of the map is a row of the exporter's key table
// (export/ReadingTable.h); the constructor resolves them once.
//
// Thread-safety: start(), publish() and stop() from the reading loop's thread;
// the server runs on its own thread. publish() allocates nothing.
#ifndef EXPORT_MODBUS_MODBUSOUTPUT_H_
#define EXPORT_MODBUS_MODBUSOUTPUT_H_

#include "base/Status.h"
#include "export/Snapshot.h"
#include "export/modbus/ImageExchange.h"
#include "export/modbus/MeterReadings.h"
#include "export/modbus/ModbusServer.h"
#include "export/modbus/RegisterImageEncoder.h"

namespace modbus {

class ModbusOutput {
 public:
  ModbusOutput(const ModbusServerOptions& options, const char* version);
  ModbusOutput(const ModbusOutput&) = delete;
  ModbusOutput& operator=(const ModbusOutput&) = delete;

  // Opens the port and starts serving (exception 6 until the first publish()).
  base::Status start() { return server_.start(); }
  void publish(const ldexport::Snapshot& snapshot);
  // Closes the port and every connection.
  void stop() { server_.stop(); }
  uint16_t port() const { return server_.port(); }

  // The readings of the map taken from a snapshot (exposed for tests).
  void readingsFrom(const ldexport::Snapshot& snapshot, MeterReadings* readings) const;
  // The key table row of each source, -1 where the table has none.
  int rowOf(Source source) const { return rowOf_[static_cast<size_t>(source)]; }

 private:
  int rowOf_[kSourceCount];
  MeterReadings readings_;
  RegisterImageEncoder encoder_;
  ImageExchange images_;
  ModbusServer server_;
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_MODBUSOUTPUT_H_
