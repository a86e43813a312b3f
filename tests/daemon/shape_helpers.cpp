#include "tests/daemon/shape_helpers.h"

#include <ctype.h>

namespace daemontest {

bool matchesShape(const std::string& text, const std::string& shape) {
  if (text.size() != shape.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    switch (shape[i]) {
      case '#': if (!isdigit(c)) return false; break;
      case '~': if (!isdigit(c) && c != ' ') return false; break;
      case '^': if (!isupper(c)) return false; break;
      case '%': if (!islower(c)) return false; break;
      default: if (text[i] != shape[i]) return false;
    }
  }
  return true;
}

std::string versionShape() { return "0005.0001.######.######"; }

std::string dateShape() {
#ifdef NDEBUG
  return "^%% ~# #### ##:##:## (Release)";
#else
  return "^%% ~# #### ##:##:## (Debug)";
#endif
}

}  // namespace daemontest
