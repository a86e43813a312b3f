// Template reading, the marker tokenizer and the processing modes: literal
// text, reserved names, fixed and variable width, re-reading an edited file.
#include <gtest/gtest.h>
#include <stdexcept>

#include <string>

#include "jsontemplate/JsonTemplate.h"
#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "tests/jsontemplate/JsonTemplateTestHelpers.h"
#include "tests/support/RuntimeLogScope.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace {

using jttest::CycleResult;
using jttest::TemplateRun;

using Template = jttest::CatalogTest;

TEST_F(Template, TextWithoutMarkersIsCopied) {
  TemplateRun t(map_, "{\n  \"a\": 1\n}\n");
  CycleResult r = t.cycles(1);
  EXPECT_EQ("{\n  \"a\": 1\n}\n", r.outputs[0]);
  EXPECT_TRUE(t.engine().fields().empty());
}

TEST_F(Template, LastLineGainsALineEnd) { EXPECT_EQ("abc\n", run("abc")); }

TEST_F(Template, UppercaseMarkerIsText) {
  EXPECT_EQ("[<?KEY \"name\"=\"t.u16\"?>]\n", run("[<?KEY \"name\"=\"t.u16\"?>]\n"));
}

TEST_F(Template, QuotesOfNameAndValueAreIndependent) {
  EXPECT_EQ("[1000]\n", run("[<?key 'name'=\"t.u16\" 'width'=\"1\"?>]\n"));
  EXPECT_EQ("[1000]\n", run("[<?key \"name\"='t.u16', \"width\"='1'?>]\n"));
}

TEST_F(Template, MixedQuotesWithinANameDoNotParse) {
  const std::string text = "[<?key \"name'=\"t.u16\" \"width\"=\"1\"?>]\n";
  TemplateRun t(map_, text);
  EXPECT_EQ(text, t.cycles(1).outputs[0]);
  EXPECT_TRUE(t.engine().fields().empty());
}

TEST_F(Template, CapitalisedAttributeNameIsIgnored) {
  const std::string text = "[<?key \"Name\"=\"t.u16\"?>]\n";
  EXPECT_EQ(text, run(text));
}

TEST_F(Template, AttributeNamesIgnoreCaseAfterTheFirstLetter) {
  EXPECT_EQ("[1000]\n", run("[<?key \"nAME\"=\"t.u16\" \"wIDTH\"=\"1\"?>]\n"));
}

TEST_F(Template, NameOnlyMarkerHasNoFormat) {
  TemplateRun t(map_, "a<?key \"name\"=\"t.u16\"?>b<?key \"name\"=\"t.u16\" \"width\"=\"3\"?>c\n");
  t.cycles(1);
  ASSERT_EQ(2u, t.engine().fields().size());
  EXPECT_EQ(nullptr, t.engine().fields()[0].format());
  EXPECT_NE(nullptr, t.engine().fields()[1].format());
}

TEST_F(Template, FieldsKnowTheirPositionsAndText) {
  TemplateRun t(map_, "ab<?key \"name\"=\"t.u16\"?>cd<?key \"name\"=\"#c\"?>ef\n");
  t.cycles(1);
  std::vector<JsonTemplateField>& f = t.engine().fields();
  ASSERT_EQ(2u, f.size());
  EXPECT_EQ(2u, f[0].getTemplateDataPositionForThisField());
  EXPECT_EQ(24u, f[0].getTemplateDataPositionAfterThisField());  // marker of 22 characters
  EXPECT_EQ("ab", f[0].textBefore());
  EXPECT_EQ("", f[0].textAfter());
  EXPECT_EQ("cd", f[1].textBefore());
  EXPECT_EQ("ef\n", f[1].textAfter());
  EXPECT_EQ(-1, f[1].dmIndex());
  EXPECT_EQ(0, f[1].dmType());
  EXPECT_EQ(DM_TYPE_UINT16, f[0].dmType());
}

TEST_F(Template, ValuesAreTrimmedExceptThreeAttributes) {
  EXPECT_EQ("[  1000]\n", run("[<?key \"name\"=\" t.u16 \" \"width\"=\" 6 \"?>]\n"));
}

TEST_F(Template, StrayTextInsideAMarkerIsIgnored) {
  EXPECT_EQ("[1000]\n", run("[<?key junk \"name\"=\"t.u16\" ?? \"width\" = \"1\" , ?>]\n"));
}

TEST_F(Template, CommentFieldDisappears) {
  EXPECT_EQ("AB\n", run("A<?key \"name\"=\"#note\" \"width\"=\"9\"?>B\n"));
}

TEST_F(Template, UnregisteredInternalVariableYieldsNothing) {
  EXPECT_EQ("[]\n", run("[<?key \"name\"=\"$nothing\"?>]\n"));
}

TEST_F(Template, MarkerWithoutTerminatorIsReportedAndKeptAsText) {
  std::string err;
  EXPECT_EQ("A1000B<?key \"name\"=\"t.u16\"\n",
            run("A<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>B<?key \"name\"=\"t.u16\"\n", &err));
  // The first marker is 34 characters long, so the second starts at 36.
  EXPECT_EQ("/t.json : key missing terminator at position 36 - <?key \"name\"=\"t.u16\"\n\n\n",
            err);
}

TEST_F(Template, UnterminatedFirstMarkerLeavesTheTextAsItIs) {
  std::string err;
  EXPECT_EQ("x <?key \"name\"=\"t.u16\" y\n", run("x <?key \"name\"=\"t.u16\" y\n", &err));
  EXPECT_EQ("/t.json : key missing terminator at position 2 - <?key \"name\"=\"t.u16\" y\n\n\n",
            err);
}

TEST_F(Template, SpaceBeforeTheClosingBracketIsSteppedOver) {
  // After stray text and white space the tokenizer steps over one character
  // whatever it is, so that '>' does not close the marker: the scan runs on into
  // the next marker, whose name overwrites the first one ("?>" closes safely).
  std::string err;
  EXPECT_EQ("[1000]\n", run("[<?key \"name\"=\"t.u16\" \"width\"=\"1\" >]\n", &err));
  EXPECT_EQ("[|\n",
            run("[<?key \"name\"=\"t.u16\" \"width\"=\"1\" x >]<?key \"name\"=\"#c\"?>|\n", &err));
  EXPECT_EQ("", err);
}

TEST_F(Template, FormatComparisonWithThePreviousField) {
  TemplateRun t(map_,
                "<?key \"name\"=\"t.u16\"?><?key \"name\"=\"t.u16\"?>"
                "<?key \"name\"=\"t.u16\" \"width\"=\"2\"?><?key \"name\"=\"t.u16\" \"wIDTH\"=\"2\"?>"
                "<?key \"name\"=\"t.u16\" \"width\"=\"3\"?><?key \"name\"=\"#c\" \"width\"=\"3\"?>"
                "<?key \"name\"=\"t.u16\" \"width\"=\"3\"?>\n");
  t.cycles(1);
  std::vector<JsonTemplateField>& f = t.engine().fields();
  ASSERT_EQ(7u, f.size());
  const bool same[] = {false, true, false, true, false, false, false};
  for (size_t i = 0; i < f.size(); ++i) {
    EXPECT_EQ(same[i], f[i].sameFormatAsPrevious()) << i;
    EXPECT_EQ(!same[i], f[i].formatNeedsApplying()) << i;
  }
}

TEST_F(Template, FixedWidthOverwritesValuesInPlace) {
  TemplateRun t(map_,
                "<?key \"name\"=\"!Default Attributes\" \"width\"=\"6\" \"precision\"=\"1\"?>"
                "[<?key \"name\"=\"t.f64\"?>]tail\n");
  CycleResult first = t.cycles(1);
  EXPECT_TRUE(t.engine().fixedWidth());
  EXPECT_FALSE(t.engine().variableWidth());
  EXPECT_EQ("[   3.1]tail\n", first.outputs[0]);
  EXPECT_EQ(1, t.engine().fields()[1].outputPosition());
  map_.set("t.f64", "2.5");
  EXPECT_EQ("[   2.5]tail\n", t.cycles(1).outputs[0]);
  // A longer value runs over the following text; the length stays.
  map_.set("t.f64", "12345678.5");
  EXPECT_EQ("[12345678.5l\n", t.cycles(1).outputs[0]);
  map_.set("t.f64", "4.5");
  EXPECT_EQ("[   4.578.5l\n", t.cycles(1).outputs[0]);
}

TEST_F(Template, FixedWidthNeverWritesBeyondTheOutput) {
  TemplateRun t(map_, "<?key \"name\"=\"!Default Attributes\" \"width\"=\"2\"?>"
                      "<?key \"name\"=\"t.str64\"?>\n");
  EXPECT_EQ("a longer text\n", t.cycles(1).outputs[0]);
  t.output() = "xyz";  // a caller's shorter string: values are cut at its end
  EXPECT_EQ("a l", t.cycles(1).outputs[0]);
}

TEST_F(Template, DefaultsMarkerWithoutWidthSelectsVariableWidth) {
  TemplateRun t(map_, "<?key \"name\"=\"!Default Attributes\" \"precision\"=\"1\"?>"
                      "[<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>]\n");
  t.cycles(1);
  EXPECT_FALSE(t.engine().fixedWidth());
  EXPECT_TRUE(t.engine().variableWidth());
  map_.set("t.u16", "7");
  EXPECT_EQ("[7]\n", t.cycles(1).outputs[0]);
}

TEST_F(Template, DefaultsMarkerLaterInTheTemplateDoesNotSelectAMode) {
  TemplateRun t(map_, "[<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>]"
                      "<?key \"name\"=\"!Default Attributes\" \"width\"=\"6\"?>\n");
  CycleResult r = t.cycles(2);
  EXPECT_FALSE(t.engine().fixedWidth());
  EXPECT_FALSE(t.engine().variableWidth());
  EXPECT_EQ("[1000]\n", r.outputs[1]);
}

TEST_F(Template, EditedTemplateIsAppendedToTheEarlierText) {
  TemplateRun t(map_, "X<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>\n");
  EXPECT_EQ("X1000\n", t.cycles(1).outputs[0]);
  t.rewrite("Y<?key \"name\"=\"t.s16\" \"width\"=\"1\"?>!\n");
  CycleResult r = t.cycles(1);
  EXPECT_EQ("X1000\nY-7!\n", r.outputs[0]);
  EXPECT_EQ(2u, t.engine().fields().size());
  EXPECT_EQ("X<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>\nY<?key \"name\"=\"t.s16\" \"width\"=\"1\"?>!\n",
            t.engine().templateText());
}

TEST_F(Template, UnchangedTemplateIsNotReread) {
  const std::string text = "X<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>\n";
  TemplateRun t(map_, text);
  CycleResult r = t.cycles(3);
  EXPECT_EQ("X1000\n", r.outputs[2]);
  EXPECT_EQ(text, t.engine().templateText());
  EXPECT_EQ(-1, t.engine().reinit(&dm));
}

TEST_F(Template, UnreadableTemplateIsReported) {
  JsonTemplate engine;
  const std::string path = map_.dir().file("none.json");
  engine.setJsonTemplateFile(path.c_str());
  testsupport::StreamCapture err(2);
  EXPECT_EQ(-1, engine.init(&dm, nullptr, 0));
  std::string out = "old";
  EXPECT_EQ(0, engine.processJsonTemplate(&dm, out));
  EXPECT_EQ("", out);
  EXPECT_EQ("Unable to read json template : " + path + "\n\nUnable to read json template : " +
                path + "\n\n",
            err.finish());
  jttest::restoreDefaultAttributes();
}

TEST_F(Template, TemplateNameRunsFromTheLastSlash) {
  JsonTemplate engine;
  engine.setJsonTemplateFile("/a/b/c.json");
  EXPECT_EQ("/c.json", engine.templateName());
  EXPECT_EQ("/a/b/c.json", engine.templatePath());
  jttest::restoreDefaultAttributes();
}

TEST_F(Template, FileLength) {
  JsonTemplate engine;
  const std::string path = map_.dir().file("len.json");
  testsupport::writeFile(path, "12345");
  EXPECT_EQ(5, engine.getFileLength(path.c_str()));
  EXPECT_EQ(-1, engine.getFileLength(map_.dir().file("none").c_str()));
  jttest::restoreDefaultAttributes();
}

TEST_F(Template, DestructorEmptiesTheClassDefaults) {
  { JsonTemplate gone; }
  for (const std::string& value : JsonTemplate::defaultAttributeValues) EXPECT_EQ("", value);
  // A template made now starts from empty defaults: no default width on the
  // first cycle, then the cached width 10 of a field on the fast path.
  JsonTemplate engine;
  const std::string path = map_.dir().file("d.json");
  testsupport::writeFile(path, "[<?key \"name\"=\"t.u16\"?>]\n");
  engine.setJsonTemplateFile(path.c_str());
  engine.setSpreadInterval(1);
  engine.init(&dm, nullptr, 0);
  std::string out;
  engine.processJsonTemplate(&dm, out);
  EXPECT_EQ("[1000]\n", out);
  engine.processJsonTemplate(&dm, out);
  EXPECT_EQ("[      1000]\n", out);
  jttest::restoreDefaultAttributes();
}

TEST_F(Template, OutOfRangeStartRaisesTheSubstringFailure) {
  TemplateRun t(map_, "x\n");
  t.cycles(1);
  // A field list that does not belong to the text: its end lies beyond it.
  std::vector<JsonTemplateField> fields;
  fields.push_back(JsonTemplateField("t.u16", 100, 5, -1, 0, -1, 0, nullptr, &t.engine()));
  EXPECT_THROW(t.engine().jsonTok("short", fields), std::out_of_range);
}

TEST_F(Template, MessagesGoToTheRuntimeLog) {
  testsupport::TempDir logDir;
  {
    testsupport::RuntimeLogScope log(logDir.file("log"), "jttest");
    map_.fail("t.u16", -6);
    run("<?key \"name\"=\"no.such\"?><?key \"name\"=\"t.u16\"?><?key \"name\"=\"t.u16\" "
        "\"isValidKey\"=\"no.valid\"?><?key \"name\"=\"t.u16\"\n");
  }
  EXPECT_EQ(
      "jttest <3>: dm_get_info error on key \"no.such\" with error code=-2\n"
      "jttest <3>: dm_get_info error on isvalid key \"no.valid\" with error code=-2\n"
      "jttest <3>: /t.json : key missing terminator at position 92 - "
      "<?key \"name\"=\"t.u16\"\n\n"  // the excerpt keeps the template's line end
      "jttest <3>: /t.json : Unknown data type (0) for key \"no.such\"\n"
      "jttest <3>: /t.json : dm_read_uint16 error on key \"t.u16\" with error code=-6\n"
      "jttest <3>: /t.json : dm_read_boolean error on isValid key \"no.valid\" with error "
      "code=-3\n",
      testsupport::readFile(logDir.file("log")));
}

}  // namespace
