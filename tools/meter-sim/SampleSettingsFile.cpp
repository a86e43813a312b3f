#include "SampleSettingsFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/WriteAll.h"

namespace {

// Copies text into a 16-byte label padded with blanks (no terminator).
void putLabel(std::vector<unsigned char>& file, size_t offset, const char* text) {
  memset(&file[offset], ' ', 16);
  memcpy(&file[offset], text, strnlen(text, 16));
}

bool makeParentDirs(const std::string& path, std::string* error) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    std::string dir = path.substr(0, slash);
    if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
      *error = "cannot create " + dir + ": " + strerror(errno);
      return false;
    }
  }
  return true;
}

}  // namespace

std::vector<unsigned char> SampleSettingsFile::contents() {
  static const char* const kInputs[8][3] = {
      {"Breaker 52a", "Open", "Closed"},     {"Breaker 52b", "Open", "Closed"},
      {"Door Switch", "Closed", "Open"},     {"Transfer Sw", "Normal", "Emergency"},
      {"Gen Running", "Stopped", "Running"}, {"Fan Status", "Off", "On"},
      {"Surge Alarm", "Normal", "Alarm"},    {"Spare Input 8", "Inactive", "Active"}};
  static const char* const kAccumulators[8] = {"Del kWh Pulse", "Rec kWh Pulse", "kVARh Q12",
                                               "kVARh Q34",     "kVAh Pulse",    "Wh Phase A",
                                               "Wh Phase B",    "Wh Phase C"};
  static const char* const kAggregators[4] = {"Net Wh", "Total VARh", "VAh + Wh A", "Wh B + C"};
  std::vector<unsigned char> file(kSize, 0);
  for (int i = 0; i < 8; ++i) {
    const size_t record = kDigitalInputs + kDigitalInputRecord * i;
    putLabel(file, record + 8, kInputs[i][0]);
    putLabel(file, record + 24, kInputs[i][1]);
    putLabel(file, record + 40, kInputs[i][2]);
  }
  file[kDirectionFlag] = 1;  // quadrants 1 + 4 are delivered energy
  for (int i = 0; i < 8; ++i) putLabel(file, kAccumulatorLabels + 16 * i, kAccumulators[i]);
  for (int i = 0; i < 4; ++i) putLabel(file, kAggregatorLabels + 16 * i, kAggregators[i]);
  return file;
}

std::string SampleSettingsFile::defaultPath() {
  const char* root = getenv("LIVEDATA_ROOT");
  return std::string(root ? root : "") + "/home/korvo.data/root/kv7720.kps";
}

bool SampleSettingsFile::writeIfMissing(const std::string& path, bool* created, std::string* error) {
  *created = false;
  if (!makeParentDirs(path, error)) return false;
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) {
    if (errno == EEXIST) return true;
    *error = "cannot create " + path + ": " + strerror(errno);
    return false;
  }
  const std::vector<unsigned char> bytes = contents();
  const base::Status written =
      base::writeAll(fd, reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!written.ok()) {
    *error = "cannot write " + path + ": " + strerror(written.errnum());
    close(fd);
    unlink(path.c_str());
    return false;
  }
  close(fd);
  *created = true;
  return true;
}
