#include "explore/program.h"

#include <cmath>

#include "explore/program_text.h"
#include "explore/program_writer.h"

namespace kelpcheck::explore {

namespace {

std::set<std::string> former_names(const Sequence &sequence, const Place &place) {
  std::set<std::string> names;
  const auto look = [&](const Target &who) {
    if (who.sort == Target::former) {
      names.insert(full_name(place, {Target::own, who.node, who.name}));
    }
  };
  for (const Call &call : sequence) {
    look(call.who);
    for (const Entry &entry : call.entries) look(entry.who);
  }
  return names;
}

// What stands in a comment must not end it.
std::string in_comment(const std::string &line) {
  std::string shown = printable(line);
  for (size_t at = 0; (at = shown.find("*/", at)) != std::string::npos;)
    shown.replace(at, 2, "* /");
  return shown;
}

std::string introduction(const Call &last, const Place &place, const Finding &finding,
                         const ProgramNotes &notes) {
  return text(
      "/* What ", in_comment(notes.found_by), " found:\n *\n *   ",
      in_comment(line_of(last, place)), "\n *   ", show_key(finding.difference.key), ": expected ",
      in_comment(expected_text(finding.difference)), ", got ", in_comment(finding.difference.got),
      "\n *\n"
      " *   cc -o reproduce reproduce.c -lkelpapi2\n"
      " *   KELP_PASSWORD=... ./reproduce [HOST [PORT [USER]]]\n"
      " *\n"
      " * The exit status is 1 if the fault is there, 0 if it is not, 2 without a session.\n"
      " * Nodes of the names below are removed, before and after.\n"
      " */\n");
}

std::string constants(const Sequence &sequence, const Place &place, const Finding &finding,
                      const ProgramNotes &notes) {
  const Call &last = sequence.back();
  const Difference &difference = finding.difference;
  const ServerOptions &server = notes.server;
  std::string expected;
  for (const std::string &text : difference.expected) {
    append_item(expected, literal(text));
  }
  const std::string call = kelpcheck::name_of(last.op);
  return text(
      "static const char *host = ", literal(server.host), ";\nstatic int32_t port = ", server.port,
      ";\nstatic const char *user = ", literal(server.user), ";\n#define OPTION ", server.option,
      "\n#define DATABASE ", literal(place.database), "\n#define NODE_0 ",
      literal(node_name(place, 0)), "\n#define NODE_1 ", literal(node_name(place, 1)),
      "\n#define SETTLE ", exact(notes.settle),
      " /* seconds until what was acknowledged has to be readable */\n#define READING ",
      writes(last) || last.op == Op::init ? 0 : 1, "\n#define WITHIN ", exact(difference.within),
      "\n#define TIMEOUT ", std::lround(std::ceil(server.timeout + 2 * notes.settle)),
      " /* seconds of the whole program */\nstatic const char looked_at[] = ",
      literal(call + ": " + show_key(difference.key)), ";\nstatic const char *const expected[] = {",
      expected, "};\n");
}

}  // namespace

std::string c_program(const Sequence &sequence, const Place &place, const Finding &finding,
                      const ProgramNotes &notes) {
  const std::string &item = finding.difference.key.item;
  if (item.starts_with("result of ")) return "";  // of a call around the one that is looked at
  const std::set<std::string> formers = former_names(sequence, place);
  ProgramWriter writer(place, formers);
  std::string variables, calls = "\nstatic void first_calls(void) {\n";
  for (const std::string &name : formers) {
    variables += text("static int32_t ", writer.former(name), ";\n");
  }
  for (size_t i = 0; i + 1 < sequence.size(); ++i) calls += writer.block(sequence[i], nullptr);
  calls += "}\n\nstatic void last_call(void) {\n";
  calls += writer.block(sequence.back(), &finding.difference.key);
  if (finding.difference.key.item == kEnd) calls += text("  saw(\"", kReturned, "\");\n");
  calls += "}\n";
  return introduction(sequence.back(), place, finding, notes) + kProgramHead +
         constants(sequence, place, finding, notes) + kProgramFrame + variables +
         helpers_for(calls) + calls + kProgramTail;
}

}  // namespace kelpcheck::explore
