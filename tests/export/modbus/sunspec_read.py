#!/usr/bin/python3
"""Reads a SunSpec device over Modbus TCP with pymodbus, as a SunSpec client
does: "SunS" at 40000, then model after model up to the end model, each model's
points decoded from the Alliance's JSON definitions with their scale factors.

  sunspec_read.py HOST PORT UNIT DEFINITIONS_DIR

Prints one JSON object: {"models": [{"id": N, "length": L, "points": {NAME: VALUE}}]}
where VALUE is the decoded number or text, or null for "not implemented".
Exit status 1 with a line on stderr when the device does not answer as SunSpec.
"""
import json
import math
import os
import struct
import sys

from pymodbus.client import ModbusTcpClient

BASE = 40000


def read(client, unit, address, count):
    out = []
    while count > 0:
        n = min(count, 125)
        answer = client.read_holding_registers(address, n, slave=unit)
        if answer.isError():
            raise RuntimeError("read %d+%d: %s" % (address, n, answer))
        out.extend(answer.registers)
        address += n
        count -= n
    return out


def decode(point, regs, sfs):
    kind = point["type"]
    if kind in ("uint16", "int16", "sunssf", "pad"):
        raw = regs[0]
        if kind == "uint16":
            return None if raw == 0xFFFF else raw
        if kind == "pad":
            return raw
        value = struct.unpack(">h", struct.pack(">H", raw))[0]
        if raw == 0x8000:
            return None
        if kind == "sunssf":
            return value
        sf = sfs.get(point.get("sf")) if point.get("sf") else 0
        return None if sf is None else value * 10.0 ** sf
    if kind in ("acc32", "bitfield32"):
        raw = regs[0] << 16 | regs[1]
        if kind == "bitfield32":
            return None if raw == 0xFFFFFFFF else raw
        if raw == 0:
            return None
        sf = sfs.get(point.get("sf")) if point.get("sf") else 0
        return None if sf is None else raw * 10.0 ** sf
    if kind == "float32":
        value = struct.unpack(">f", struct.pack(">HH", regs[0], regs[1]))[0]
        return None if math.isnan(value) else value
    if kind == "string":
        data = b"".join(struct.pack(">H", r) for r in regs)
        return data.split(b"\0", 1)[0].decode("latin-1")
    raise RuntimeError("unknown type " + kind)


def main():
    host, port, unit, definitions = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
    client = ModbusTcpClient(host, port=port, timeout=3)
    if not client.connect():
        print("cannot connect", file=sys.stderr)
        return 1
    if read(client, unit, BASE, 2) != [0x5375, 0x6E53]:
        print("no SunS", file=sys.stderr)
        return 1
    models = []
    address = BASE + 2
    while True:
        model_id, length = read(client, unit, address, 2)
        if model_id == 0xFFFF:
            models.append({"id": model_id, "length": length, "points": {}})
            break
        with open(os.path.join(definitions, "model_%d.json" % model_id)) as f:
            definition = json.load(f)
        body = read(client, unit, address + 2, length)
        regs = [model_id, length] + body
        points = definition["group"]["points"]
        offsets = {}
        at = 0
        for point in points:
            offsets[point["name"]] = at
            at += point["size"]
        sfs = {}
        for point in points:
            if point["type"] == "sunssf":
                at = offsets[point["name"]]
                sfs[point["name"]] = decode(point, regs[at:at + 1], {})
        decoded = {}
        for point in points:
            at = offsets[point["name"]]
            decoded[point["name"]] = decode(point, regs[at:at + point["size"]], sfs)
        models.append({"id": model_id, "length": length, "points": decoded})
        address += 2 + length
    client.close()
    print(json.dumps({"models": models}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
