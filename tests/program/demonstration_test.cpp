// Every demonstration by itself: what it shows and what it asks of the library, when all goes well
// and in every way in which it can fail. Each transcript is played with either display flag, over
// the default hook and over one that is told about hidden lines too.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>

#include "driver/argument.h"
#include "driver/connection.h"
#include "driver/output.h"
#include "driver/registry.h"
#include "transcript.h"

namespace {

DemoFunction find_demonstration(const std::string &name) {
  add();
  add_demo(true, connect_until_success, "connect_until_success");
  for (const Demo &demo : demo_globle) {
    if (demo.name == name) return demo.func;
  }
  throw std::invalid_argument("there is no demonstration " + name);
}

void prepare(std::map<std::string, int> settings) {
  argument_.handle = fake::open_connection();
  argument_.node_num = settings["nodes"];
  argument_.point_num = settings["points"];
  argument_.end_time = argument_.begin_time + settings["seconds"];
  argument_.option = settings["option"];
  for (int i = 1; i <= settings["points"] && settings["known"] != 0; ++i) {
    argument_.point_names.push_back("P" + std::to_string(i));
    argument_.point_ids.push_back(10 + i);
  }
}

void print_with_flag(bool flag, const char *text) {
  std::printf("%s: %s\n", flag ? "seen" : "hidden", text);
}

std::string expected_text(const std::vector<Transcript::Step> &steps, bool display,
                          bool with_flag) {
  std::string text;
  for (const auto &[keyword, line] : steps) {
    const bool seen = display || keyword == "always";
    if (keyword == "call") {
      text += "call " + line + "\n";
    } else if (keyword == "ends" && line.empty()) {
      return text;
    } else if (with_flag) {
      text += (seen ? "seen: " : "hidden: ") + line + "\n";
    } else if (seen) {
      text += line + "\n";
    }
    if (keyword == "ends") return text;
  }
  return text + "returned\n";
}

// In a process of its own, as what it registers is global.
std::string registered_demonstrations() {
  return fake::play({}, [] {
    add();
    for (const Demo &demo : demo_globle) std::puts(demo.name.c_str());
  });
}

TEST(Demonstrations, AllHaveATranscript) {
  std::set<std::string> told;
  for (const Transcript &transcript : read_transcripts(TRANSCRIPTS)) {
    told.insert(transcript.demonstration);
  }
  std::istringstream names(registered_demonstrations());
  size_t registered = 0;
  for (std::string name; names >> name && name != "returned"; ++registered) {
    EXPECT_TRUE(told.contains(name)) << name;
  }
  EXPECT_EQ(registered, 29u);
}

TEST(Demonstrations, ShowAndCallWhatTheTranscriptsSay) {
  std::vector<Transcript> transcripts = read_transcripts(TRANSCRIPTS);
  EXPECT_GE(transcripts.size(), 70u);
  for (Transcript &transcript : transcripts) {
    transcript.script.sleeps = transcript.settings["sleeps"];
    transcript.script.shows_calls = false;
    for (const Transcript::Step &step : transcript.steps) {
      if (step.keyword == "call") transcript.script.shows_calls = true;
    }
    for (const bool display : {false, true}) {
      for (const bool with_flag : {false, true}) {
        const auto body = [&] {
          prepare(transcript.settings);
          if (with_flag) display_result = print_with_flag;
          find_demonstration(transcript.demonstration)(display);
        };
        EXPECT_EQ(fake::play(transcript.script, body),
                  expected_text(transcript.steps, display, with_flag))
            << transcript.place << " display " << display;
      }
    }
  }
}

}  // namespace
