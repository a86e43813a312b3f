// The point table of the Modbus map against the SunSpec Alliance's own model
// definitions (tests/export/sunspec/): every point's name, offset, type, size
// and scale factor point, every model's length, and the map's positions.
#include "export/modbus/SunSpecTable.h"

#include <string.h>

#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/TempDir.h"

namespace {

using modbus::Group;
using modbus::ModelLayout;
using modbus::PointRow;
using modbus::PointType;

nlohmann::json loadModel(int id) {
  const std::string path =
      testsupport::sourcePath("tests/export/sunspec/model_" + std::to_string(id) + ".json");
  std::ifstream in(path);
  EXPECT_TRUE(in.good()) << path;
  return nlohmann::json::parse(in);
}

const char* typeName(PointType type) {
  switch (type) {
    case PointType::kUint16: return "uint16";
    case PointType::kInt16: return "int16";
    case PointType::kAcc32: return "acc32";
    case PointType::kFloat32: return "float32";
    case PointType::kSunssf: return "sunssf";
    case PointType::kString: return "string";
    case PointType::kPad: return "pad";
    case PointType::kBitfield32: return "bitfield32";
  }
  return "?";
}

void expectLayoutMatches(const ModelLayout& layout, int id) {
  SCOPED_TRACE("model " + std::to_string(id));
  const nlohmann::json model = loadModel(id);
  ASSERT_EQ(model.at("id").get<int>(), id);
  const nlohmann::json& points = model.at("group").at("points");
  ASSERT_EQ(points.size(), layout.rowCount);
  int offset = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    const nlohmann::json& point = points[i];
    const PointRow& row = layout.rows[i];
    const std::string name = point.at("name").get<std::string>();
    SCOPED_TRACE(name);
    EXPECT_EQ(row.name, name);
    EXPECT_EQ(row.offset, offset);
    EXPECT_STREQ(typeName(row.type), point.at("type").get<std::string>().c_str());
    EXPECT_EQ(row.size, point.at("size").get<int>());
    if (point.contains("sf")) {
      ASSERT_NE(row.scaleFactor, nullptr);
      EXPECT_EQ(row.scaleFactor, point.at("sf").get<std::string>());
    } else {
      EXPECT_EQ(row.scaleFactor, nullptr);
    }
    if (name == "ID") {
      EXPECT_EQ(point.at("value").get<int>(), id);
    }
    offset += point.at("size").get<int>();
  }
  EXPECT_EQ(layout.length, offset - 2) << "L counts the registers after ID and L";
}

TEST(SunSpecTable, CommonModelMatchesDefinition) {
  expectLayoutMatches(modbus::modelLayout(0), 1);
  EXPECT_EQ(modbus::modelLayout(0).length, 66);
}

// The meter model pair of layout index: its wye and delta ids, its length, and
// both definitions matched point by point.
void expectMeterModels(size_t index, int wyeId, int deltaId, int length) {
  const ModelLayout& layout = modbus::modelLayout(index);
  EXPECT_EQ(layout.wyeId, wyeId);
  EXPECT_EQ(layout.deltaId, deltaId);
  EXPECT_EQ(layout.length, length);
  expectLayoutMatches(layout, wyeId);
  expectLayoutMatches(layout, deltaId);
}

TEST(SunSpecTable, IntegerMeterModelsMatchDefinitions) { expectMeterModels(1, 203, 204, 105); }

TEST(SunSpecTable, FloatMeterModelsMatchDefinitions) { expectMeterModels(2, 213, 214, 124); }

TEST(SunSpecTable, ModelsFollowEachOtherFromSunS) {
  size_t next = 2;  // after "SunS"
  for (size_t m = 0; m < modbus::kModelCount; ++m) {
    EXPECT_EQ(modbus::modelLayout(m).start, next) << "model " << m;
    next = modbus::modelLayout(m).start + 2 + modbus::modelLayout(m).length;
  }
  EXPECT_EQ(modbus::kEndModelStart, next);
  EXPECT_EQ(modbus::kRegisterCount, next + 2);
}

// Every scaled point belongs to the group of its scale factor point, and
// every group has one scale factor point.
TEST(SunSpecTable, ScaledPointsShareTheirScaleFactorsGroup) {
  const ModelLayout& layout = modbus::modelLayout(1);
  std::map<std::string, Group> groupOfFactor;
  for (size_t i = 0; i < layout.rowCount; ++i) {
    const PointRow& row = layout.rows[i];
    if (row.type == PointType::kSunssf) {
      EXPECT_NE(row.group, Group::kNone) << row.name;
      EXPECT_TRUE(groupOfFactor.emplace(row.name, row.group).second) << row.name;
    }
  }
  for (size_t i = 0; i < layout.rowCount; ++i) {
    const PointRow& row = layout.rows[i];
    if (row.scaleFactor == nullptr) continue;
    ASSERT_EQ(groupOfFactor.count(row.scaleFactor), 1u) << row.name;
    EXPECT_EQ(row.group, groupOfFactor[row.scaleFactor]) << row.name;
  }
}

}  // namespace
