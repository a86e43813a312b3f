#include "livedata/DocumentUpdater.h"

#include <stdio.h>

DocumentUpdater::FrameMessages DocumentUpdater::kCommonFrameMessages = {
    "dm_read_STRING error on \"dev.designation\" with error code= ",
    "dm_read_timestamp_b8 error on \"reading.time.ltc\" with error code= ",
    "dm_read_timestamp_b8 error on \"sys.ontime\" with error code= ",
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
  keys_.add(frame_.designation, "dev.designation", messages[0]);
  keys_.add(frame_.dateTime, "reading.time.ltc", messages[1]);
  keys_.add(frame_.powerOnTime, "sys.ontime", messages[2]);
}
