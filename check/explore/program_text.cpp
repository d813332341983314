#include "explore/program_text.h"

#include <string_view>
#include <vector>

namespace kelpcheck::explore {

const char *const kProgramHead = R"(#define _POSIX_C_SOURCE 200809L
#include <kelpapi2.h>

#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

)";

const char *const kProgramFrame = R"(
static ConnectionHandle sessions[2];
static char got[4096]; /* what the last call gave, of the thing that is looked at */
static int finished;   /* the program ends by itself */

static void saw(const char *format, ...) {
  const size_t length = strlen(got);
  va_list arguments;
  if (length > 0 && length + 3 < sizeof got) strcat(got, ", ");
  va_start(arguments, format);
  vsnprintf(got + strlen(got), sizeof got - strlen(got), format, arguments);
  va_end(arguments);
}

static ConnectionHandle session(int number) {
  if (sessions[number] == NULL) {
    const char *password = getenv("KELP_PASSWORD");
    sessions[number] = kelp2_init(OPTION, host, port, 30, user, password ? password : "", "NULL", 0);
  }
  if (sessions[number] == NULL) {
    fprintf(stderr, "no session with %s\n", host);
    finished = 1;
    exit(2);
  }
  return sessions[number];
}

static void nap(void) {
  const struct timespec pause = {0, 20 * 1000 * 1000};
  nanosleep(&pause, NULL);
}
)";

const char *const kProgramTail = R"(
static void remove_node(const char *name) {
  GroupHandle group = kelp2_new_group();
  ObjectHandle node = NULL, *points = NULL;
  int32_t count = 0, error = -1;
  kelp2_add_group_point(group, name);
  if (kelp2_get_object_byname(session(0), group, &node, &error) == 0 && error == 0) {
    if (kelp2_get_child(session(0), name, &count, &points) == 0 && count > 0) {
      int32_t *errors = calloc((size_t)count, sizeof *errors);
      kelp2_modify_object(session(0), Delete, name, count, points, errors);
      kelp2_free_list(count, points);
      free(errors);
    }
    kelp2_modify_object(session(0), Delete, DATABASE, 1, &node, &error);
  }
  if (node != NULL) kelp2_free_object(node);
  kelp2_free_group(group);
}

static void ended(int number) {
  static const char hung[] = "a call did not return\n", crashed[] = "a call crashed\n";
  if (number == SIGALRM) {
    if (write(2, hung, sizeof hung - 1) < 0) _exit(1);
  } else {
    if (write(2, crashed, sizeof crashed - 1) < 0) _exit(1);
  }
  _exit(1);
}

static void left(void) {
  if (!finished) _exit(1); /* a call ended the process */
}

static int as_expected(void) {
  size_t i;
  for (i = 0; i < sizeof expected / sizeof *expected; ++i) {
    if (strcmp(got, expected[i]) == 0) return 1;
    if (WITHIN > 0) {
      const double off = strtod(got, NULL) - strtod(expected[i], NULL);
      if (off <= WITHIN && off >= -WITHIN) return 1;
    }
  }
  return 0;
}

int main(int argc, char **argv) {
  const time_t begin = time(NULL);
  int good;
  size_t i;
  if (argc > 1) host = argv[1];
  if (argc > 2) port = atoi(argv[2]);
  if (argc > 3) user = argv[3];
  signal(SIGALRM, ended);
  signal(SIGSEGV, ended);
  signal(SIGBUS, ended);
  signal(SIGFPE, ended);
  signal(SIGABRT, ended);
  atexit(left);
  alarm(TIMEOUT);
  remove_node(NODE_0);
  remove_node(NODE_1);
  first_calls();
  for (;;) {
    got[0] = '\0';
    last_call();
    if (got[0] == '\0') strcpy(got, "none");
    good = as_expected();
    if (good || !READING || difftime(time(NULL), begin) > SETTLE) break;
    nap();
  }
  printf("%s\n", looked_at);
  for (i = 0; i < sizeof expected / sizeof *expected; ++i) {
    printf("%s %s\n", i == 0 ? "expected:" : "      or:", expected[i]);
  }
  printf("     got: %s\n", got);
  remove_node(NODE_0);
  remove_node(NODE_1);
  for (i = 0; i < 2; ++i) {
    if (sessions[i] != NULL) kelp2_close(sessions[i]);
  }
  finished = 1;
  return good ? 0 : 1;
}
)";

namespace {

struct Helper {
  std::string_view name;
  std::string_view needs;  // names of others
  const char *text;
};

const Helper kHelpers[] = {{"group_of", "", R"(
static GroupHandle group_of(int count, const char *const *names) {
  GroupHandle group = kelp2_new_group();
  int i;
  for (i = 0; i < count; ++i) kelp2_add_group_point(group, names[i]);
  return group;
}
)"},
                           {"is_called", "", R"(
/* Whether an object with this id has this name of its own. */
static int is_called(int32_t id, const char *name) {
  ObjectHandle object = NULL;
  int32_t error = -1;
  char own[256] = "";
  if (kelp2_get_object_byid(session(0), 1, &id, &object, &error) == 0 && error == 0) {
    kelp2_object_get_string(object, "PN", own, sizeof own);
  }
  if (object != NULL) kelp2_free_object(object);
  return strcmp(own, name) == 0;
}
)"},
                           {"id_of", "is_called", R"(
/* The id that a look-up by name gives, once it is that of an object with this name. */
static int32_t id_of(ConnectionHandle connection, const char *full_name) {
  const time_t begin = time(NULL);
  for (;;) {
    GroupHandle group = kelp2_new_group();
    int32_t id = 0;
    kelp2_add_group_point(group, full_name);
    const int32_t result = kelp2_get_id_byname(connection, group, &id);
    kelp2_free_group(group);
    if (result == 0 && is_called(id, strrchr(full_name, '.') + 1)) return id;
    if (difftime(time(NULL), begin) > SETTLE) break;
    nap();
  }
  saw("no id for %s", full_name);
  printf("%s\nexpected: its id\n     got: %s\n", full_name, got);
  finished = 1;
  exit(1);
}
)"},
                           {"remember", "is_called", R"(
/* Keeps the id of a point that is about to be deleted. */
static void remember(int32_t *former, ConnectionHandle connection, const char *full_name) {
  GroupHandle group = kelp2_new_group();
  int32_t id = 0;
  kelp2_add_group_point(group, full_name);
  if (kelp2_get_id_byname(connection, group, &id) == 0 &&
      is_called(id, strrchr(full_name, '.') + 1)) {
    *former = id;
  }
  kelp2_free_group(group);
}
)"},
                           {"nobodys", "", R"(
/* Whether no object has this id; only then it is used. */
static int nobodys(int32_t id) {
  ObjectHandle object = NULL;
  int32_t error = 0;
  const int32_t result = kelp2_get_object_byid(session(0), 1, &id, &object, &error);
  if (object != NULL) kelp2_free_object(object);
  return result != 0 || error != 0;
}
)"},
                           {"free_objects", "", R"(
static void free_objects(int count, ObjectHandle *objects) {
  int i;
  for (i = 0; i < count; ++i) {
    if (objects[i] != NULL) kelp2_free_object(objects[i]);
  }
}
)"},
                           {"free_results", "", R"(
static void free_results(int count, ResultHandle *results) {
  int i;
  for (i = 0; i < count; ++i) kelp2_free_result(results[i]);
}
)"}};

bool occurs(const std::string &text, std::string_view name) {
  return text.find(std::string(name) + "(") != std::string::npos;
}

}  // namespace

std::string helpers_for(const std::string &calls) {
  std::string helpers;
  for (const Helper &helper : kHelpers) {
    bool needed = occurs(calls, helper.name);
    for (const Helper &other : kHelpers) {
      needed = needed || (other.needs == helper.name && occurs(calls, other.name));
    }
    if (needed) helpers += helper.text;
  }
  return helpers;
}

}  // namespace kelpcheck::explore
