#include "SampleSettingsFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/WriteAll.h"
#include "platform/settings_file.h"

namespace {

// Copies text into a 16-byte label padded with blanks (no terminator).
void putLabel(std::vector<unsigned char>& file, size_t offset, const char* text) {
  memset(&file[offset], ' ', settings_file::kLabelSize);
  memcpy(&file[offset], text, strnlen(text, settings_file::kLabelSize));
}

base::Status makeParentDirs(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    std::string dir = path.substr(0, slash);
    if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
      return base::Status::Error("", "cannot create " + dir, errno);
    }
  }
  return base::Status::Ok();
}

}  // namespace

std::vector<unsigned char> SampleSettingsFile::contents() {
  static const char* const kInputs[settings_file::kDigitalInputCount][3] = {
      {"Breaker 52a", "Open", "Closed"},     {"Breaker 52b", "Open", "Closed"},
      {"Door Switch", "Closed", "Open"},     {"Transfer Sw", "Normal", "Emergency"},
      {"Gen Running", "Stopped", "Running"}, {"Fan Status", "Off", "On"},
      {"Surge Alarm", "Normal", "Alarm"},    {"Spare Input 8", "Inactive", "Active"}};
  static const char* const kAccumulators[settings_file::kAccumulatorCount] = {
      "Del kWh Pulse", "Rec kWh Pulse", "kVARh Q12",  "kVARh Q34",
      "kVAh Pulse",    "Wh Phase A",    "Wh Phase B", "Wh Phase C"};
  static const char* const kAggregators[settings_file::kAggregatorCount] = {
      "Net Wh", "Total VARh", "VAh + Wh A", "Wh B + C"};
  namespace sf = settings_file;
  std::vector<unsigned char> file(sf::kSize, 0);
  for (int i = 0; i < sf::kDigitalInputCount; ++i) {
    putLabel(file, sf::digitalInputLabel(i, sf::kDigitalInputName), kInputs[i][0]);
    putLabel(file, sf::digitalInputLabel(i, sf::kDigitalInputOpen), kInputs[i][1]);
    putLabel(file, sf::digitalInputLabel(i, sf::kDigitalInputShorted), kInputs[i][2]);
  }
  file[sf::kEnergyDirectionFlag] = 1;  // quadrants 1 + 4 are delivered energy
  for (int i = 0; i < sf::kAccumulatorCount; ++i) {
    putLabel(file, sf::accumulatorLabel(i), kAccumulators[i]);
  }
  for (int i = 0; i < sf::kAggregatorCount; ++i) {
    putLabel(file, sf::aggregatorLabel(i), kAggregators[i]);
  }
  return file;
}

std::string SampleSettingsFile::defaultPath() {
  const char* root = getenv("LIVEDATA_ROOT");
  return std::string(root ? root : "") + settings_file::kPath;
}

base::Status SampleSettingsFile::writeIfMissing(const std::string& path, bool* created) {
  *created = false;
  base::Status made = makeParentDirs(path);
  if (!made.ok()) return made;
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) {
    if (errno == EEXIST) return base::Status::Ok();
    return base::Status::Error("", "cannot create " + path, errno);
  }
  const std::vector<unsigned char> bytes = contents();
  const base::Status written =
      base::writeAll(fd, reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!written.ok()) {
    close(fd);
    unlink(path.c_str());
    return base::Status::Error("", "cannot write " + path, written.errnum());
  }
  close(fd);
  *created = true;
  return base::Status::Ok();
}
