// A journal outlives its watch: another watch goes on with it, it is judged during the watch and
// afterwards, it is damaged, or the tree is another one.
#include <signal.h>

#include <filesystem>

#include "fixture.h"

namespace kelptest {

namespace {

void append(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::app) << text;
}

// A watch of some steps that has ended.
void watch_once(const WatchFolder &folder, const std::string &duration = "3s") {
  Process watch(folder.watch({"--for", duration}));
  ASSERT_EQ(watch.wait(60s), kPassed) << watch.output() << watch.errors();
}

int run_status(const Words &words, std::string *said = nullptr) {
  Process process(words);
  const int status = process.wait(60s).value_or(-1);
  if (said != nullptr) *said = process.output() + process.errors();
  return status;
}

}  // namespace

TEST(Resumed, AWatchThatWasKilledIsGoneOnWithAndOnlyTheGapIsMissing) {
  const WatchFolder folder;
  {
    Process first(folder.watch({}));
    ASSERT_TRUE(folder.wait_for_steps(3, 60s)) << first.errors();
    std::string said;
    EXPECT_EQ(run_status(folder.watch({}), &said), kRefused);
    EXPECT_NE(said.find("its watch goes on"), std::string::npos) << said;
    EXPECT_EQ(run_status(folder.verify({}), &said), kPassed) << said;
    EXPECT_NE(said.find("the watch goes on"), std::string::npos) << said;
    EXPECT_EQ(run_status(folder.verify({"--remove"})), kRefused);
    first.signal(SIGKILL);
    first.wait(10s);
    const std::string lines = contents(folder.journal());
    EXPECT_LT(lines.find("{\"step\":2,"), lines.find("{\"done\":2,")) << "the call comes later";
  }
  append(folder.journal(), "{\"step\":99");  // torn
  std::string said;
  EXPECT_EQ(run_status(folder.watch({"--points", "13"}), &said), kRefused) << said;
  Process second(folder.watch({}));
  ASSERT_TRUE(wait_for(
      60s, [&] { return contents(folder.journal()).find("resumed") != std::string::npos; }));
  std::this_thread::sleep_for(2500ms);
  second.signal(SIGTERM);
  EXPECT_EQ(second.wait(60s), kPassed) << second.output() << second.errors();
  const json report = folder.report();
  EXPECT_EQ(report["samples"]["lost"], 0);
  EXPECT_EQ(report["outages"].size(), 0u);
  EXPECT_EQ(contents(folder.journal()).find("\"step\":99"), std::string::npos);
}

TEST(Verified, AfterwardsByTimeByShareAndAtLastRemoved) {
  const WatchFolder folder;
  watch_once(folder);
  const std::string before = contents(folder.journal());
  const int64_t first =
      json::parse(before.substr(before.find("{\"first\""))
                      .substr(0, 60)
                      .substr(0, before.substr(before.find("{\"first\"")).find('\n')))["first"];
  const time_t until = first + 1;
  char text[32];
  strftime(text, sizeof text, "%Y%m%d%H%M%S", gmtime(&until));
  EXPECT_EQ(run_status(folder.verify({"--until", text})), kPassed);
  EXPECT_EQ(folder.report()["samples"]["acknowledged"], 2 * kPoints);
  EXPECT_EQ(run_status(folder.verify({"--share", "50%"})), kPassed);
  const json shared = folder.report();
  EXPECT_GT(shared["judged_points"], 0);
  EXPECT_LT(shared["judged_points"], kPoints);
  EXPECT_EQ(shared["samples"]["acknowledged"], shared["judged_points"].get<int64_t>() * 3);
  const std::string library = shared["library"];
  EXPECT_EQ(library, std::filesystem::canonical(library));
  EXPECT_EQ(shared["library_sha256"], kelptest::run({"sha256sum", library}).substr(0, 64));
  std::string said;
  EXPECT_EQ(run_status(folder.watch({"--journal", folder.path("other")}), &said), kRefused);
  EXPECT_NE(said.find("verify FILE --remove"), std::string::npos) << said;
  EXPECT_EQ(run_status(folder.verify({"--remove"}), &said), kPassed) << said;
  EXPECT_NE(said.find("was removed"), std::string::npos) << said;
  EXPECT_EQ(run_status(folder.verify({"--settle", "0.2"}), &said), kFailed);
  EXPECT_NE(said.find("is this the right server?"), std::string::npos) << said;
  EXPECT_EQ(folder.report()["samples"]["lost"], 3 * kPoints);
  EXPECT_EQ(contents(folder.journal()), before);
}

TEST(Verified, ADamagedJournalOrAnotherTreeIsUnknown) {
  const WatchFolder folder, other;
  watch_once(folder);
  watch_once(other);
  std::string said;
  EXPECT_EQ(run_status(folder.verify({"-H" + other.host(), "--remove"}), &said), kUnknown);
  EXPECT_NE(said.find("not the one of this journal"), std::string::npos) << said;
  EXPECT_EQ(run_status(other.verify({})), kPassed);
  std::string text = contents(folder.journal());
  text[text.find("{\"done\":1") + 3] = '#';
  std::ofstream(folder.journal()) << text;
  EXPECT_EQ(run_status(folder.verify({}), &said), kUnknown) << said;
  EXPECT_NE(said.find("the journal is damaged"), std::string::npos) << said;
  EXPECT_EQ(folder.report()["samples"]["foreign"], 0);
  EXPECT_EQ(run_status(folder.watch({}), &said), kRefused) << said;
}

TEST(Usage, IsToldInALine) {
  const WatchFolder folder;
  append(folder.path("text"), "my notes\n");
  const std::pair<Words, std::string> cases[] = {
      {folder.watch({"--for", "soon"}), "--for"},
      {folder.watch({"--points", "100001"}), "--points"},
      {folder.watch({"--journal", folder.path("text")}), "not a journal"},
      {folder.watch({"--journal", folder.path("none/j")}), "cannot open"},
      {folder.watch({"--journal", "/dev/null"}), "not a plain file"},
      {{CHECK_PROGRAM, "verify", folder.path("none")}, "cannot open"},
      {{CHECK_PROGRAM, "verify", folder.path("text"), "--until", "tomorrow"}, "--until"},
      {{CHECK_PROGRAM, "verify", folder.path("text"), "--share", "110%"}, "--share"},
      {{CHECK_PROGRAM, "verify", folder.path("text"), "--settle", "3600.5"}, "--settle"},
  };
  for (const auto &[words, complaint] : cases) {
    std::string said;
    EXPECT_EQ(run_status(words, &said), kRefused) << complaint;
    EXPECT_NE(said.find(complaint), std::string::npos) << said;
  }
  EXPECT_EQ(contents(folder.path("text")), "my notes\n");
  Words nowhere = folder.watch({"-Hfile:" + folder.path("none/store")});
  EXPECT_EQ(run_status(nowhere), kNoConnection);
}

}  // namespace kelptest
