#include "tests/profile/profile_helpers.h"

#include <stdexcept>

#include "tests/support/TempDir.h"

namespace profiletest {

void SettingsImage::put(size_t offset, const std::string& bytes) {
  if (offset + bytes.size() > bytes_.size()) throw std::out_of_range("settings image too short");
  bytes_.replace(offset, bytes.size(), bytes);
}

void SettingsImage::putLabel(size_t offset, const std::string& text) {
  if (text.size() > 16) throw std::invalid_argument("label longer than 16 bytes");
  put(offset, text + std::string(16 - text.size(), ' '));
}

void SettingsImage::save(const std::string& path) const { testsupport::writeFile(path, bytes_); }

namespace {

std::string list(const char* name, const std::vector<std::string>& labels, const char* end) {
  std::string text = std::string("\"") + name + "\":[";
  for (size_t i = 0; i < labels.size(); ++i) {
    text += "\"" + labels[i] + "\"";
    text += i + 1 < labels.size() ? "," : end;
  }
  return text;
}

}  // namespace

std::string expectedDocument(const ExpectedLabels& labels) {
  std::string text = "{\n\"version\":{\t\"major\":0,\t\"minor\":2,\t\"micro\":0},\n";
  text += labels.delivered ? "\"Q14_Whr_label\":\"Del Wh\",\"Q23_Whr_label\":\"Rec Wh\",\n"
                           : "\"Q14_Whr_label\":\"Rec Wh\",\"Q23_Whr_label\":\"Del Wh\",\n";
  text += list("accumulators_label", labels.accumulators, "],\n");
  text += list("aggregators_label", labels.aggregators, "],\n");
  text += list("digital_input_name_label", labels.inputNames, "],\n");
  text += list("digital_input_open_label", labels.inputOpen, "],\n");
  text += list("digital_input_shorted_label", labels.inputShorted, "],\n");
  text += list("limit_label", labels.limits, "]\n");
  text += "}\n";
  return text;
}

}  // namespace profiletest
