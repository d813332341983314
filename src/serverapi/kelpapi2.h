/* The client library libkelpapi2: 40 operations on a real-time and historian server.
 *
 * This header is all that kelptest knows of the library. It is plain C (C11, C++20), so that any
 * library that keeps to it can be linked in its place.
 *
 * Conventions, which hold wherever an operation does not say otherwise
 *
 *   Results    An operation returns 0 on success and another value, a failure code of the library,
 *              when the whole call failed. A failed call has changed nothing on the server.
 *   errors     Operations on many points, objects or rows also fill `errors`, one entry each: 0, or
 *              a code that says why that one failed. The result can be 0 although entries are not.
 *   Arrays     All arrays are the caller's, with one entry per point, object or row; a group stands
 *              for as many entries as it holds names, in the order of their adding. The library
 *              reads or fills arrays during the call and keeps none of them. A null pointer will do
 *              for an array without entries.
 *   Text       Zero-terminated bytes. Text passed in is copied if it is kept; text passed out is
 *              copied into the caller's buffer.
 *   Handles    Made by the library and released by the caller, once, with the operation named at
 *              the type. Null means none.
 *   Time       int32 seconds since 1970-01-01 00:00:00 UTC, as of time(2).
 *   Full name  DATABASE.NODE for a node, DATABASE.NODE.POINT for a point.
 *   reserved   Always 0.
 *   Threads    A connection, and what was made through it, is used by one thread at a time.
 */
#ifndef KELPAPI2_H
#define KELPAPI2_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A session with a server; kelp2_close. */
typedef struct kelp2_connection *ConnectionHandle;
/* An ordered list of full names, of nodes or of points; kelp2_free_group. */
typedef struct kelp2_group *GroupHandle;
/* A client-side copy of the static fields of a database, node or point; kelp2_free_object, or
 * kelp2_free_list for the objects of a list. */
typedef struct kelp2_object *ObjectHandle;
/* The history of one point, read row by row; kelp2_free_result. */
typedef struct kelp2_result *ResultHandle;

/* Kinds of objects that can be made. */
typedef enum ObjectKind { KindNode = 16, AX = 32, DX = 33, I2 = 34, I4 = 35, R8 = 36 } ObjectKind;

typedef enum ModifyOperation { Update = 1, Insert = 2, Delete = 3 } ModifyOperation;

typedef enum HistoryMode {
  HistoryTimed = 0,      /* the stored values; kelp2_fetch_timed_value */
  HistoryStatistics = 15 /* a StatValue per interval; kelp2_fetch_stat_value */
} HistoryMode;

/* Field codes of an object and the type of each field. */
#define KELP2_FIELD_NAME "PN"        /* text: the object's own name */
#define KELP2_FIELD_DESCRIPTION "ED" /* text */
#define KELP2_FIELD_FQ "FQ"          /* int32 */
#define KELP2_FIELD_AR "AR"          /* int32 */
#define KELP2_FIELD_IV "IV"          /* double */
#define KELP2_FIELD_HW "HW"          /* int32 */

/* Statistics of one point over one interval. 64 bytes in native byte order: the layout is part of
 * the interface. */
typedef struct StatValue {
  int32_t time;    /* stamps the row */
  int16_t status;  /* of the row; signed */
  double flow;     /* integral of the values over the interval, in value seconds */
  double max;      /* the largest value */
  double min;      /* the smallest value */
  int32_t maxtime; /* when the largest occurred */
  int32_t mintime; /* when the smallest occurred */
  double avg;      /* mean weighted by time */
  double mean;     /* arithmetic mean of the values */
  double stdev;    /* standard deviation of the values */
} StatValue;

static_assert(sizeof(StatValue) == 64, "StatValue is 64 bytes");
static_assert(offsetof(StatValue, time) == 0, "StatValue.time");
static_assert(offsetof(StatValue, status) == 4, "StatValue.status");
static_assert(offsetof(StatValue, flow) == 8, "StatValue.flow");
static_assert(offsetof(StatValue, max) == 16, "StatValue.max");
static_assert(offsetof(StatValue, min) == 24, "StatValue.min");
static_assert(offsetof(StatValue, maxtime) == 32, "StatValue.maxtime");
static_assert(offsetof(StatValue, mintime) == 36, "StatValue.mintime");
static_assert(offsetof(StatValue, avg) == 40, "StatValue.avg");
static_assert(offsetof(StatValue, mean) == 48, "StatValue.mean");
static_assert(offsetof(StatValue, stdev) == 56, "StatValue.stdev");

/* ---- Connection, server time, databases ---- */

/* Opens a session with the server at host and port, logged in as user. `option` is an option word
 * and `init_param` a setting of the library; route and size describe its client-side buffer, the
 * text "NULL" meaning no route. Null when no session could be made. Older sessions stay usable. */
ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t init_param,
                            const char *user, const char *password, const char *buffer_route,
                            int32_t buffer_size);
/* 0 while the session works; another value when it is lost, and for null. */
int32_t kelp2_status(ConnectionHandle connection);
/* Ends the session and releases the handle. */
int32_t kelp2_close(ConnectionHandle connection);
/* The server's clock. */
int32_t kelp2_get_system_time(ConnectionHandle connection, int32_t *time);
/* The time of six calendar fields: month and day from 1, hours 0 to 23. Needs no connection and
 * has no way to fail. */
int32_t kelp2_encode_time(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                          int32_t second);
/* The inverse of kelp2_encode_time. */
int32_t kelp2_decode_time(int32_t time, int32_t *year, int32_t *month, int32_t *day, int32_t *hour,
                          int32_t *minute, int32_t *second);
/* Lists the databases: `list` receives an array of `count` objects that the library allocates and
 * the caller gives back with kelp2_free_list. An empty list is null. */
int32_t kelp2_get_database(ConnectionHandle connection, int32_t *count, ObjectHandle **list);
/* Releases a list and its objects; `count` as the listing operation gave it. */
int32_t kelp2_free_list(int32_t count, ObjectHandle *list);

/* ---- Groups, objects and the tree ---- */

/* An empty group. Needs no connection. */
GroupHandle kelp2_new_group(void);
/* Appends a copy of the name. */
int32_t kelp2_add_group_point(GroupHandle group, const char *full_name);
int32_t kelp2_free_group(GroupHandle group);

/* A new object with a name of its own, without full stops, and an ObjectKind. It is on the server
 * only once kelp2_modify_object has inserted it. Null on failure. */
ObjectHandle kelp2_new_object(ConnectionHandle connection, const char *name, int32_t kind);
/* Set a field in the object, to be sent by the next kelp2_modify_object. */
int32_t kelp2_object_set_string(ObjectHandle object, const char *field, const char *value);
int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value);
int32_t kelp2_object_set_double(ObjectHandle object, const char *field, double value);
/* Copies a text field into `buffer` of `size` bytes, zero-terminated and cut to fit. */
int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer, int32_t size);
/* The field's value itself; 0 for a field that the object does not have. */
int32_t kelp2_object_get_int(ObjectHandle object, const char *field);
double kelp2_object_get_double(ObjectHandle object, const char *field);

/* Applies a ModifyOperation to `count` objects under the container with the full name `parent`: a
 * database for nodes, a node for points. Update takes objects that were read, Insert new ones,
 * Delete objects that were read or listed. The objects stay the caller's. Returns the number of
 * objects done. */
int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors);
/* Reads points by id, or nodes and points by name, one object per entry for the caller to release.
 * Every slot of `objects` is written: one whose entry failed can be passed to every operation that
 * takes an object. */
int32_t kelp2_get_object_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors);
int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors);
/* Lists the points directly under a node; `list` as in kelp2_get_database. */
int32_t kelp2_get_child(ConnectionHandle connection, const char *full_name, int32_t *count,
                        ObjectHandle **list);
/* The ids of the points that the group names. */
int32_t kelp2_get_id_byname(ConnectionHandle connection, GroupHandle group, int32_t *ids);
int32_t kelp2_free_object(ObjectHandle object);

/* ---- Current values, history and statistics ---- */

/* Sets the current value of each point, all at one time. */
int32_t kelp2_write_value(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, int32_t time, const int16_t *statuses,
                          const double *values, int32_t *errors);
/* Read the current value of each point with its time and status. */
int32_t kelp2_get_value_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors);
int32_t kelp2_get_value_byname(ConnectionHandle connection, GroupHandle group, int32_t *times,
                               int16_t *statuses, double *values, int32_t *errors);
/* Write `count` past values into the history of one point; `error` is that point's one entry. */
int32_t kelp2_write_histroy_byid(ConnectionHandle connection, int32_t reserved, int32_t id,
                                 int32_t count, const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error);
int32_t kelp2_write_histroy_byname(ConnectionHandle connection, int32_t reserved,
                                   const char *full_name, int32_t count, const int32_t *times,
                                   const int16_t *statuses, const double *values, int32_t *error);
/* Query the history of each point between `begin` and `end`, each in its own HistoryMode, with
 * `interval` seconds as the step of statistics. Every slot of `results` is written; one whose entry
 * failed has no rows and can be released like the others. */
int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors);
int32_t kelp2_get_history_byname(ConnectionHandle connection, GroupHandle group,
                                 const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors);
/* The number of rows of a result; 0 or less means none. */
int32_t kelp2_num_rows(ResultHandle result);
/* Deliver the next row of a result in the mode of that name and move on.
 * kelp2_fetch_stat_value returns 0 or 1 for a row delivered, any other value on failure. */
int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status, double *value);
int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row);
int32_t kelp2_free_result(ResultHandle result);

/* ---- Cache and snapshots ---- */

/* Writes `count` rows, each of its own point and time, to the server's cache. */
int32_t kelp2_write_cache(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, const int32_t *times, const int16_t *statuses,
                          const double *values, int32_t *errors);
/* The same for rows of one point; `error` is that point's one entry. */
int32_t kelp2_write_cache_one(ConnectionHandle connection, int32_t reserved, int32_t id,
                              int32_t count, const int32_t *times, const int16_t *statuses,
                              const double *values, int32_t *error);
/* Sets the value of each point at one given time. */
int32_t kelp2_write_snap(ConnectionHandle connection, int32_t reserved, int32_t count,
                         const int32_t *ids, int32_t time, const int16_t *statuses,
                         const double *values, int32_t *errors);
/* Read the value that each point had at one given time. */
int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors);
int32_t kelp2_get_snap_byname(ConnectionHandle connection, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors);

#ifdef __cplusplus
}
#endif

#endif
