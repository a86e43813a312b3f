#include "hoststore/NumericValue.h"

#include "platform/datamap.h"

namespace dmhost {

namespace {

// Codes read as 64-bit floating point besides flt64 itself.
bool isFlt64Alias(uint32_t type) { return (type >= 8 && type <= 16) || type == 21 || type == 22; }

template <typename T>
T load(const void* storage) {
  T v;
  memcpy(&v, storage, sizeof(v));
  return v;
}

template <typename T>
void store(void* storage, T v) {
  memcpy(storage, &v, sizeof(v));
}

}  // namespace

bool NumericValue::isNumericType(uint32_t type) {
  switch (type) {
    case DM_TYPE_SINT16:
    case DM_TYPE_UINT16:
    case DM_TYPE_SINT32:
    case DM_TYPE_UINT32:
    case DM_TYPE_SINT64:
    case DM_TYPE_UINT64:
    case DM_TYPE_FLT32:
    case DM_TYPE_FLT64:
    case DM_TYPE_BOOLEAN: return true;
    default: return isFlt64Alias(type);
  }
}

bool NumericValue::decode(uint32_t type, const void* storage, NumericValue* out) {
  switch (type) {
    case DM_TYPE_SINT16: *out = fromSigned(load<int16_t>(storage)); return true;
    case DM_TYPE_UINT16: *out = fromUnsigned(load<uint16_t>(storage)); return true;
    case DM_TYPE_SINT32: *out = fromSigned(load<int32_t>(storage)); return true;
    case DM_TYPE_UINT32: *out = fromUnsigned(load<uint32_t>(storage)); return true;
    case DM_TYPE_SINT64: *out = fromSigned(load<int64_t>(storage)); return true;
    case DM_TYPE_UINT64: *out = fromUnsigned(load<uint64_t>(storage)); return true;
    case DM_TYPE_FLT32: *out = fromDouble(load<float>(storage)); return true;
    case DM_TYPE_BOOLEAN: *out = fromUnsigned(load<uint8_t>(storage) != 0 ? 1 : 0); return true;
    default:
      if (type == DM_TYPE_FLT64 || isFlt64Alias(type)) {
        *out = fromDouble(load<double>(storage));
        return true;
      }
      return false;
  }
}

bool NumericValue::encode(uint32_t type, void* storage) const {
  switch (type) {
    case DM_TYPE_SINT16: store(storage, as<int16_t>()); return true;
    case DM_TYPE_UINT16: store(storage, as<uint16_t>()); return true;
    case DM_TYPE_SINT32: store(storage, as<int32_t>()); return true;
    case DM_TYPE_UINT32: store(storage, as<uint32_t>()); return true;
    case DM_TYPE_SINT64: store(storage, as<int64_t>()); return true;
    case DM_TYPE_UINT64: store(storage, as<uint64_t>()); return true;
    case DM_TYPE_FLT32: store(storage, as<float>()); return true;
    case DM_TYPE_BOOLEAN: store(storage, static_cast<uint8_t>(isZero() ? 0 : 1)); return true;
    default:
      if (type == DM_TYPE_FLT64 || isFlt64Alias(type)) {
        store(storage, as<double>());
        return true;
      }
      return false;
  }
}

bool NumericValue::isZero() const {
  if (kind_ == kFloating) return d_ == 0.0;  // NaN counts as non-zero, like a C test
  if (kind_ == kSigned) return s_ == 0;
  return u_ == 0;
}

}  // namespace dmhost
