#include "livedata/DocumentUpdater.h"
#include "livedata/SharedKeys.h"

#include <stdio.h>

DocumentUpdater::FrameMessages DocumentUpdater::kCommonFrameMessages = {
    "dm_read_STRING error on \"%s\" with error code= ",
    "dm_read_timestamp_b8 error on \"%s\" with error code= ",
    "dm_read_timestamp_b8 error on \"%s\" with error code= ",
};

DocumentUpdater::DocumentUpdater(uint32_t debugBits, DebugTexts texts, size_t expectedSize)
    : debugTexts_(texts), document_(expectedSize) {
  addDebugMaskBits(debugBits);
}

int DocumentUpdater::init() {
  if (debugEnabled()) fputs(debugTexts_.init, stdout);
  return initDmIndex();
}

int DocumentUpdater::initDmIndex() {
  keys_.resolve();
  return 0;
}

int DocumentUpdater::getData() {
  keys_.read();
  return 0;
}

std::string DocumentUpdater::displayData() {
  if (debugEnabled()) fputs(debugTexts_.display, stdout);
  if (document_.open(getJsonFile())) {
    document_.appendFrameStart();
    writeBody(document_);
    document_.appendFrameEnd(frame_.designation.value, frame_.dateTime.value,
                             frame_.powerOnTime.value);
    document_.close();
  }
  afterDocument();
  return std::string();
}

void DocumentUpdater::addFrameKeys(FrameMessages messages) {
  keys_.addKeyed(frame_.designation, sharedkeys::kDesignation, messages[0]);
  keys_.addKeyed(frame_.dateTime, sharedkeys::kClock, messages[1]);
  keys_.addKeyed(frame_.powerOnTime, sharedkeys::kPowerOnTime, messages[2]);
}
