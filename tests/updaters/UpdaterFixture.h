// The fixture of the updater document tests: a host datamap built from
// catalogue text in a private temporary directory, WEB_ROOT pointing at that
// directory, one updater writing its document there, and the globals the
// updaters read set to known values for the test and restored after it.
//
// SetUp builds the map from the fixture's catalogue and the updater, without
// initialising it; tests call init() (or start() to rebuild from another
// catalogue and initialise) and then cycle().
#ifndef TESTS_UPDATERS_UPDATERFIXTURE_H_
#define TESTS_UPDATERS_UPDATERFIXTURE_H_

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "livedata/Globals.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace updatertest {

// The phase PT and CT ratios of a test case, as map texts.
struct Ratios {
  const char* pt;
  const char* ct;
};

template <typename Updater>
class UpdaterFixture : public ::testing::Test {
 protected:
  // documentName: the document's file name in the test directory; catalog: the
  // map SetUp and start() build.
  UpdaterFixture(const char* documentName, std::string catalog)
      : path_(dir_.file(documentName)), catalog_(std::move(catalog)) {}

  void SetUp() override {
    setenv("WEB_ROOT", dir_.path().c_str(), 1);
    timestamp_print_out_format = 0;
    debug = false;
    debugMask = kDebugMaskDefault;
    build(catalog_);
  }

  void TearDown() override {
    updater_.reset();
    map_.reset();
    unsetenv("WEB_ROOT");
    hookup.store(savedHookup_, std::memory_order_relaxed);
    timestamp_print_out_format = savedFormat_;
    debug = savedDebug_;
    debugMask = savedMask_;
  }

  // What start() writes into a new map before the updater is made (nothing here).
  virtual void prepareMap(testsupport::MapFixture& map) { (void)map; }

  // A new map from catalog and a new updater writing the document; not initialised.
  void build(const std::string& catalog) {
    dropMapAndUpdater();
    map_ = std::make_unique<testsupport::MapFixture>(catalog);
    makeUpdater();
  }

  // init(); what it printed on standard error goes to initErrors_.
  void init() {
    testsupport::StreamCapture err(2);
    EXPECT_EQ(0, updater_->init());
    initErrors_ = err.finish();
  }

  // A new map from catalog with prepareMap's data, a new updater, init();
  // returns what init printed on standard error.
  std::string start(const std::string& catalog) {
    dropMapAndUpdater();
    map_ = std::make_unique<testsupport::MapFixture>(catalog);
    prepareMap(*map_);
    makeUpdater();
    init();
    return initErrors_;
  }
  std::string start() { return start(catalog_); }

  // Two cycles that must give the same document (the steady state); returns it.
  std::string steadyCycle() {
    std::string first = cycle();
    EXPECT_EQ(first, cycle());
    return first;
  }

  // A cycle that must print nothing on standard error; returns the document.
  std::string quietCycle() {
    std::string errors;
    std::string document = cycle(&errors);
    EXPECT_EQ(errors, "");
    return document;
  }

  // One getData and displayData as the updater's thread runs them; returns the
  // document. With stderrText, what the cycle printed on standard error goes there.
  std::string cycle(std::string* stderrText = nullptr) {
    std::unique_ptr<testsupport::StreamCapture> err;
    if (stderrText != nullptr) err = std::make_unique<testsupport::StreamCapture>(2);
    EXPECT_EQ(0, updater_->getData());
    EXPECT_EQ("", updater_->displayData());
    if (stderrText != nullptr) *stderrText = err->finish();
    return testsupport::readFile(updater_->getJsonFile());
  }

  // Sets the phase PT and CT ratios (dev.pt.pn.ratio, dev.ct.abc.ratio).
  void setRatios(const std::string& pt, const std::string& ct) {
    map_->set("dev.pt.pn.ratio", pt);
    map_->set("dev.ct.abc.ratio", ct);
  }
  void setRatios(const Ratios& ratios) { setRatios(ratios.pt, ratios.ct); }
  // setRatios, then one cycle; returns the document.
  std::string cycleWithRatios(const Ratios& ratios) {
    setRatios(ratios);
    return cycle();
  }

  // The fixture's catalogue without the lines of the named keys (see
  // testsupport::catalogWithout); for test bodies, not for constructors.
  std::string catalogLacking(std::initializer_list<const char*> keys) const {
    return testsupport::catalogWithout(catalog_, keys);
  }

  // Makes every read of every key in the map fail with code.
  void failEveryKey(int code) {
    for (const auto& entry : map_->writer().list()) map_->fail(entry.key, code);
  }

  // With debug on and debugMask set to mask: init() and one cycle; returns what
  // they printed on standard output.
  std::string debugLines(uint32_t mask) {
    debug = true;
    debugMask = mask;
    testsupport::StreamCapture out(1);
    updater_->init();
    cycle();
    return out.finish();
  }

  // One displayData; returns what it printed on standard error.
  std::string displayErrors() {
    testsupport::StreamCapture err(2);
    updater_->displayData();
    return err.finish();
  }

  // Points the updater at dir_/out/<name> and expects a display to print and
  // write nothing while out is missing and while it is a file; then makes out a
  // directory, displays once more and returns the document's path.
  std::string displayAfterBadDirectories(const std::string& name) {
    const std::string out = dir_.file("out");
    const std::string path = out + "/" + name;
    updater_->setJsonFile(path.c_str());
    updater_->getData();
    EXPECT_EQ("", displayErrors());
    EXPECT_FALSE(testsupport::fileExists(path));
    testsupport::writeFile(out, "a file where the directory belongs");
    EXPECT_EQ("", displayErrors());
    unlink(out.c_str());
    testsupport::makeDirs(out);
    updater_->displayData();
    return path;
  }

  testsupport::TempDir dir_;
  const std::string path_;
  std::unique_ptr<testsupport::MapFixture> map_;
  std::unique_ptr<Updater> updater_;
  std::string initErrors_;

 private:
  // The old map goes before the new one opens: closing it closes the process's
  // datamap handle.
  void dropMapAndUpdater() {
    updater_.reset();
    map_.reset();
  }

  void makeUpdater() {
    updater_ = std::make_unique<Updater>();
    updater_->setJsonFile(path_.c_str());
  }

  const std::string catalog_;
  const uint32_t savedHookup_ = hookup.load(std::memory_order_relaxed);
  const int savedFormat_ = timestamp_print_out_format;
  const bool savedDebug_ = debug;
  const uint32_t savedMask_ = debugMask;
};

// The fixture of an updater whose document is kDocument and whose tests start
// from the map of kCatalog; tests of another map derive from it and pass their
// catalogue.
template <typename Updater, const char* kDocument, const char* kCatalog>
class DocumentTest : public UpdaterFixture<Updater> {
 protected:
  explicit DocumentTest(const std::string& catalog = kCatalog)
      : UpdaterFixture<Updater>(kDocument, catalog) {}
};

// A parameterised fixture: the tests of Base, each run once per Case value.
template <typename Base, typename Case>
class WithCases : public Base, public ::testing::WithParamInterface<Case> {};

}  // namespace updatertest

#endif  // TESTS_UPDATERS_UPDATERFIXTURE_H_
