// Inputs that are not what they should be: a FIFO, a device, a directory or a
// huge file where the runtime file, a template, the programmable settings file
// or the log item catalogue belongs. Nothing blocks, nothing reads without
// bound, and each refusal is the input's usual failure or a clear error.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "daemon/livedata_update_Runtime.h"
#include "jsontemplate/JsonTemplate.h"
#include "livedata/RuntimeLog.h"
#include "platform/logexporter.h"
#include "profile/ProfileLabel.h"
#include "tests/support/RuntimeLogScope.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

constexpr auto kPrompt = std::chrono::seconds(2);

// A sparse file of the given size: huge on paper, cheap on disk.
void makeSparseFile(const std::string& path, off_t size) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0) << strerror(errno);
  ASSERT_EQ(0, ftruncate(fd, size));
  close(fd);
}

void makeFifo(const std::string& path) { ASSERT_EQ(0, mkfifo(path.c_str(), 0600)) << path; }

class Clock {
 public:
  std::chrono::steady_clock::duration elapsed() const {
    return std::chrono::steady_clock::now() - start_;
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// ---------------------------------------------------------------------------
// Runtime file

class RuntimeInput : public ::testing::Test {
 protected:
  bool prepareEnvironment() {
    setenv("ZUL_LOG_FILE", logPath_.c_str(), 1);
    return true;
  }
  void TearDown() override { unsetenv("ZUL_LOG_FILE"); }
  std::string failureLine() const {
    return "livedata_update_runtime <3>: load_runtime_xml:Failed to open runttime cfg file '" +
           xmlPath_ + "'\n";
  }
  std::string logText() const { return testsupport::readFileOrEmpty(logPath_); }

  TempDir dir_;
  std::string logPath_ = dir_.file("log.txt");
  std::string xmlPath_ = dir_.file("livedata_update_runtime.xml");
  bool environmentReady_ = prepareEnvironment();
  livedata_update_Runtime runtime_;
};

TEST_F(RuntimeInput, FifoIsUnopenableAtOnceAndDefaultsHold) {
  makeFifo(xmlPath_);
  Clock clock;
  int attempts = 0;
  EXPECT_EQ(nullptr, livedata_update_Runtime::openWithRetries(xmlPath_.c_str(), &attempts));
  EXPECT_EQ(1, attempts);
  EXPECT_EQ(1, runtime_.loadRuntimeFile(xmlPath_.c_str()));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ(failureLine(), logText());
  EXPECT_EQ(1000, runtime_.pollingInterval());
  EXPECT_TRUE(runtime_.daemonize());
}

TEST_F(RuntimeInput, FileAboveTheBoundIsUnopenable) {
  makeSparseFile(xmlPath_, livedata_update_Runtime::kMaxRuntimeFileSize + 1);
  EXPECT_EQ(1, runtime_.loadRuntimeFile(xmlPath_.c_str()));
  EXPECT_EQ(failureLine(), logText());
  EXPECT_EQ(4, runtime_.verboseLevel());
}

TEST_F(RuntimeInput, DeviceIsUnopenable) {
  xmlPath_ = "/dev/zero";
  EXPECT_EQ(1, runtime_.loadRuntimeFile(xmlPath_.c_str()));
  EXPECT_EQ(failureLine(), logText());
}

// ---------------------------------------------------------------------------
// Templates

class TemplateInput : public ::testing::Test {
 protected:
  // Reads path as a template; returns the read's status, *err standard error.
  int read(const std::string& path, std::string* text, std::string* err) {
    JsonTemplate engine;
    engine.setJsonTemplateFile(path.c_str());
    testsupport::StreamCapture capture(2);
    int status = engine.readJsonTemplateFile(path, *text);
    *err = capture.finish();
    return status;
  }
  std::string logText() const { return log_.text(); }

  TempDir dir_;
  testsupport::RuntimeLogScope log_{dir_.file("log.txt"), "jttest"};
};

TEST_F(TemplateInput, FifoIsUnreadableAtOnce) {
  std::string path = dir_.file("t.json");
  makeFifo(path);
  std::string text = "kept";
  std::string err;
  Clock clock;
  EXPECT_EQ(-1, read(path, &text, &err));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ("kept", text);
  EXPECT_EQ("Unable to read json template : " + path + "\n\n", err);
  EXPECT_EQ("jttest <3>: Unable to read json template : " + path + "\n", logText());
}

TEST_F(TemplateInput, EndlessDeviceIsUnreadable) {
  std::string text;
  std::string err;
  Clock clock;
  EXPECT_EQ(-1, read("/dev/urandom", &text, &err));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ("", text);
  EXPECT_EQ("Unable to read json template : /dev/urandom\n\n", err);
}

TEST_F(TemplateInput, FileAboveTheBoundIsRefusedWithItsReason) {
  std::string path = dir_.file("t.json");
  makeSparseFile(path, JsonTemplate::kMaxTemplateSize + 1);
  std::string text;
  std::string err;
  EXPECT_EQ(-1, read(path, &text, &err));
  EXPECT_EQ("", text);
  EXPECT_EQ("Unable to read json template : " + path + " (larger than 1048576 bytes)\n\n", err);
  EXPECT_EQ("jttest <3>: Unable to read json template : " + path +
                " (larger than 1048576 bytes)\n",
            logText());
}

TEST_F(TemplateInput, LinesAreReadAsBeforeAndAppended) {
  std::string path = dir_.file("t.json");
  testsupport::writeFile(path, "a\n\nb");
  std::string text = "old\n";
  std::string err;
  EXPECT_EQ(0, read(path, &text, &err));
  EXPECT_EQ("old\na\n\nb\n", text);
  EXPECT_EQ("", err);
}

TEST_F(TemplateInput, FileLengthOfAFifoIsUnknown) {
  std::string path = dir_.file("t.json");
  makeFifo(path);
  JsonTemplate engine;
  EXPECT_EQ(-1, engine.getFileLength(path.c_str()));
  testsupport::writeFile(dir_.file("u.json"), "12345");
  EXPECT_EQ(5, engine.getFileLength(dir_.file("u.json").c_str()));
}

// ---------------------------------------------------------------------------
// Programmable settings file

class SettingsInput : public ::testing::Test {
 protected:
  void SetUp() override {
    ProfileLabel::resetLimitTableForTesting();
    setenv("DATAMAP_FILE", dir_.file("no-datamap").c_str(), 1);
  }
  void TearDown() override {
    unsetenv("DATAMAP_FILE");
    ProfileLabel::resetLimitTableForTesting();
  }
  int run(std::string* err) {
    testsupport::StreamCapture capture(2);
    int status = ProfileLabel::print_profile_label(settingsPath_.c_str(), outputPath_.c_str());
    *err = capture.finish();
    return status;
  }

  TempDir dir_;
  std::string settingsPath_ = dir_.file("kv7720.kps");
  std::string outputPath_ = dir_.file("device_profile_label.json");
};

TEST_F(SettingsInput, FileAboveTheBoundIsRefusedUntouched) {
  const off_t size = static_cast<off_t>(ProfileLabel::kMaxSettingsFileSize) + 1;
  makeSparseFile(settingsPath_, size);
  std::string err;
  EXPECT_EQ(-2, run(&err));
  EXPECT_EQ("Settings file " + settingsPath_ + " is larger than 1048576 bytes, not read\n", err);
  struct stat status;
  ASSERT_EQ(0, stat(settingsPath_.c_str(), &status));
  EXPECT_EQ(size, status.st_size);  // not cut
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
}

TEST_F(SettingsInput, FileAtTheBoundIsStillCutToTheRecord) {
  makeSparseFile(settingsPath_, static_cast<off_t>(ProfileLabel::kMaxSettingsFileSize));
  std::string err;
  EXPECT_EQ(0, run(&err));
  EXPECT_EQ("", err);
  struct stat status;
  ASSERT_EQ(0, stat(settingsPath_.c_str(), &status));
  EXPECT_EQ(static_cast<off_t>(ProfileLabel::kSettingsFileSize), status.st_size);
  EXPECT_TRUE(testsupport::fileExists(outputPath_));
}

TEST_F(SettingsInput, DeviceIsNotMapped) {
  settingsPath_ = "/dev/zero";
  std::string err;
  EXPECT_EQ(-2, run(&err));
  EXPECT_EQ("Failed to mmap\n", err);
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
}

TEST_F(SettingsInput, FifoInPlaceOfTheDocumentIsSkippedWithoutBlocking) {
  testsupport::writeFile(settingsPath_, "");
  makeFifo(outputPath_);
  std::string err;
  Clock clock;
  EXPECT_EQ(0, run(&err));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ("", err);
}

// ---------------------------------------------------------------------------
// Log item catalogue

class CatalogueInput : public ::testing::Test {
 protected:
  void TearDown() override { unsetenv("LOG_ITEM_CATALOG"); }
  // Looks one item up through path; returns the result, *err standard error.
  int lookUp(const std::string& path, std::string* err) {
    setenv("LOG_ITEM_CATALOG", path.c_str(), 1);
    LOG_ITEM_INFO info;
    testsupport::StreamCapture capture(2);
    int status = getLogItemInfo_map(1, 1, &info);
    *err = capture.finish();
    return status;
  }
  TempDir dir_;
};

TEST_F(CatalogueInput, FifoIsRefusedAtOnce) {
  std::string path = dir_.file("fifo.catalog");
  makeFifo(path);
  std::string err;
  Clock clock;
  EXPECT_GT(0, lookUp(path, &err));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ("log item catalogue " + path + ": not a regular file\n", err);
}

TEST_F(CatalogueInput, EndlessDeviceIsRefused) {
  std::string err;
  Clock clock;
  EXPECT_GT(0, lookUp("/dev/urandom", &err));
  EXPECT_LT(clock.elapsed(), kPrompt);
  EXPECT_EQ("log item catalogue /dev/urandom: not a regular file\n", err);
}

TEST_F(CatalogueInput, FileAboveTheBoundIsRefused) {
  std::string path = dir_.file("huge.catalog");
  makeSparseFile(path, 4 * 1024 * 1024 + 1);
  std::string err;
  EXPECT_GT(0, lookUp(path, &err));
  EXPECT_EQ("log item catalogue " + path + ": larger than 4194304 bytes\n", err);
}

TEST_F(CatalogueInput, FileAtTheBoundIsReadAndParsed) {
  std::string path = dir_.file("big.catalog");
  std::string text = "1 1 Volts AN\n";
  text += std::string(4 * 1024 * 1024 - text.size(), '\n');
  testsupport::writeFile(path, text);
  std::string err;
  EXPECT_LE(0, lookUp(path, &err));
  EXPECT_EQ("", err);
}

}  // namespace
