/* Makes a point, writes an hour of history to it, and prints its statistics per ten minutes:
 *
 *   ./hour_statistics file:example.db     or a server's host in place of file:PATH
 */
#include <kelpapi2.h>
#include <stdio.h>
#include <stdlib.h>

enum { kSamples = 360, kStep = 10, kInterval = 600 };

static void check(int succeeded, const char *what) {
  if (succeeded) return;
  fprintf(stderr, "hour_statistics: %s failed\n", what);
  exit(1);
}

/* Inserts a node or point; one that is there already, from an earlier run, will do. */
static void insert(ConnectionHandle server, const char *parent, const char *name, ObjectKind kind) {
  int32_t error = 0;
  ObjectHandle object = kelp2_new_object(server, name, kind);
  check(object != NULL, name);
  kelp2_object_set_string(object, KELP2_FIELD_DESCRIPTION, "made by an example");
  kelp2_modify_object(server, Insert, parent, 1, &object, &error);
  kelp2_free_object(object);
}

static int32_t find_id(ConnectionHandle server, const char *full_name) {
  int32_t id = 0;
  GroupHandle group = kelp2_new_group();
  kelp2_add_group_point(group, full_name);
  check(kelp2_get_id_byname(server, group, &id) == 0 && id != 0, full_name);
  kelp2_free_group(group);
  return id;
}

static void write_hour(ConnectionHandle server, int32_t id, int32_t begin) {
  int32_t error = 0, times[kSamples];
  int16_t statuses[kSamples] = {0};
  double values[kSamples];
  for (int i = 0; i < kSamples; ++i) {
    times[i] = begin + i * kStep;
    values[i] = 20 + i / 60.0;
  }
  check(kelp2_write_histroy_byid(server, 0, id, kSamples, times, statuses, values, &error) == 0 &&
            error == 0,
        "writing");
}

static void print_statistics(ConnectionHandle server, int32_t id, int32_t begin) {
  const int32_t mode = HistoryStatistics, end = begin + kSamples * kStep;
  int32_t error = 0;
  ResultHandle result = NULL;
  check(kelp2_get_history_byid(server, 1, &id, &mode, begin, end, kInterval, &result, &error) == 0,
        "reading");
  check(error == 0, "reading the point");
  for (int32_t row = kelp2_num_rows(result); row > 0; --row) {
    StatValue s;
    const int32_t fetched = kelp2_fetch_stat_value(result, &s);
    check(fetched == 0 || fetched == 1, "fetching");
    printf("minute %2d  min %6.3f  max %6.3f  mean %6.3f\n", (s.time - begin) / 60, s.min, s.max,
           s.mean);
  }
  kelp2_free_result(result);
}

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: hour_statistics HOST\n");
    return 2;
  }
  ConnectionHandle server = kelp2_init(0, argv[1], 8200, 30, "tov", "riverbank", "NULL", 0);
  check(server != NULL, "connecting");
  const int32_t begin = kelp2_encode_time(2026, 1, 1, 0, 0, 0);
  insert(server, "W3", "EXAMPLE", KindNode);
  insert(server, "W3.EXAMPLE", "RAMP", AX);
  const int32_t id = find_id(server, "W3.EXAMPLE.RAMP");
  write_hour(server, id, begin);
  print_statistics(server, id, begin);
  kelp2_close(server);
}
