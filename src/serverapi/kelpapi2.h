/* The client library libkelpapi2: 40 operations on a real-time and historian server.
 *
 * This header is all that kelptest knows of the library. It is plain C (C11, C++20), so that any
 * library that keeps to it can be linked in its place. What is said here holds for each of them,
 * except what follows the word "Bundled:": that is a promise of the library that comes with
 * kelptest, and others may differ. The spellings "histroy" and the like are part of the interface,
 * and stay.
 *
 * Conventions, which hold wherever an operation does not say otherwise
 *
 *   Results    An operation returns 0 on success and another value, a failure code of the library,
 *              when the whole call failed.
 *              Bundled: a failed call has changed nothing on the server. The one exception is a
 *              session that breaks (code -2 or -3) while the server commits: nobody can know
 *              whether that call took effect.
 *   errors     Operations on many points, objects or rows also fill `errors`, one entry each: 0, or
 *              a code that says why that one failed; the others are done all the same. The result
 *              can be 0 although entries are not. After a failed call the entries mean nothing.
 *   Arrays     All arrays are the caller's, with one entry per point, object or row; a group stands
 *              for as many entries as it holds names, in the order they were added. The library
 *              reads or fills arrays during the call and keeps none of them. An empty array may be
 *              null. A point, a name or a time may occur more than once.
 *   Text       Zero-terminated bytes. Text passed in is copied if it is kept; text passed out is
 *              copied into the caller's buffer. Bundled: UTF-8.
 *   Handles    Made by the library and released by the caller, once, with the operation named at
 *              the type. Null means none: releasing it does nothing and returns 0, a field or count
 *              read from it is 0 or an empty text, and any other use fails. Bundled: with -2 for a
 *              null connection, with -1 for any other null handle. A group may be used with any
 *              connection.
 *   Time       int32 seconds since 1970-01-01 00:00:00 UTC, as of time(2).
 *   Range      begin <= time < end. Other libraries may include the end.
 *   Value      a time, a status (int16, signed, 0 where nothing is wrong with the value) and a
 *              double. Bundled: all doubles are kept to the bit, also infinities and -0.0, whatever
 *              the kind of the point; a NaN stays a NaN, if not the same one.
 *   Full name  DATABASE.NODE for a node, DATABASE.NODE.POINT for a point.
 *   Ids        A point has one id for life. Bundled: no other point ever gets it, and none has 0.
 *   reserved   Always 0.
 *   Threads    A connection, and what was made through it, is used by one thread at a time.
 *              Different connections may be used at the same time.
 *   Processes  Bundled: a connection belongs to the process that made it. In a process that was
 *              forked afterwards, every call on the connection, or on a result made through it,
 *              fails as on a lost session: -2, null or no rows. Releasing them frees memory and
 *              does nothing else; objects, groups and the calendar work; the session of the first
 *              process goes on. A forked process may make a connection of its own to a server, but
 *              not to a file that was open at the fork: a program that it starts can.
 *   Signals    Bundled: a call that is interrupted by a signal goes on.
 *
 * Bundled: limits.
 *
 *   Names      1 to 200 bytes without a full stop; a full name has at most 404.
 *   Texts      An ED text is as long as the database takes, which is about a gigabyte.
 *   Rows       One call writes at most 16,777,216, which is 5.3 years in steps of 10 seconds: what
 *              goes beyond is taken for a mistake in a time range. A call is one transaction,
 *              whatever its size; other writers wait about a second per million rows, and ten
 *              per million objects, whatever else is stored. A query of history has no such limit,
 *              but reads all of its range before it returns: ask for very long ranges in parts.
 *   Points     Ids are counted up to 2,147,483,647 over the whole life of a store. One point has
 *              one value per second.
 *   Files      PATH, PATH-wal and PATH-shm are one store: they are moved, copied and removed
 *              together, and only while no program has the store open. If one of them is removed
 *              while it is open, the next call fails with -2, and what is there then is left alone.
 *              On a local disk only, with a path of at most 504 bytes. A symbolic link is
 *              followed; a file with a second hard link is refused.
 *
 * Bundled: codes. When a call fails, one line on standard error also says why. If kelp2_init
 * returns null, because of -9, -13, -17 or for another reason, that line is all there is. After -2
 * and -12 the session is lost; after -3 from a server it may be lost, and kelp2_status says so.
 *
 *    -1  invalid argument: a null handle or array, a negative count, an unknown code or kind
 *    -2  the session is lost: server stopped, file deleted or replaced, process forked
 *    -3  another writer, or the server, took longer than init_param seconds
 *    -4  no object has this name or id
 *    -5  an object of this name is there already
 *    -6  the container does not exist, or cannot hold such an object
 *    -7  the object still has children
 *    -8  the point has no value, or none at or before the time
 *    -9  login refused, or a right or permission is missing
 *   -10  the disk is full
 *   -11  the stored data are damaged
 *   -12  the server takes no writes, such as a standby
 *   -13  not a store of this library, or of a newer version of it
 *   -14  out of memory
 *   -15  other writers got in the way every time: try again
 *   -16  the result has no further row, or none in this mode
 *   -17  the server cannot be reached; only in kelp2_init
 *   -99  anything else
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

/* Field codes of an object and the type of each field. What the last four mean is up to the server;
 * bundled: they mean nothing, and nodes and points have them all. */
#define KELP2_FIELD_NAME "PN"        /* text: the object's own name */
#define KELP2_FIELD_DESCRIPTION "ED" /* text */
#define KELP2_FIELD_FQ "FQ"          /* int32 */
#define KELP2_FIELD_AR "AR"          /* int32 */
#define KELP2_FIELD_IV "IV"          /* double */
#define KELP2_FIELD_HW "HW"          /* int32 */

/* Statistics of one point over one interval. 64 bytes in native byte order: the layout is part of
 * the interface.
 *
 * Bundled: `time` is the interval's start and `status` the bitwise or of all its values' statuses.
 * `flow` and `avg` follow the curve that holds each value until the next one or the interval's end,
 * from the first value on. `stdev` is that of a population. `max` and `min` leave NaN out unless
 * there is nothing else, and name the earliest time at which they occurred. */
typedef struct StatValue {
  int32_t time;    /* stamps the row */
  int16_t status;  /* of the row; signed */
  double flow;     /* integral of the values over the interval, in value seconds */
  double max;      /* the largest value */
  double min;      /* the smallest value */
  int32_t maxtime; /* when the largest occurred */
  int32_t mintime; /* when the smallest occurred */
  double avg;      /* mean weighted by time: flow by the time that the values cover */
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

/* Opens a session with the server at host and port, logged in as user. Null if none could be made.
 * Older sessions stay usable, whatever happened to them, and still have to be closed.
 *
 *   option      A set of bits for the library. Bundled: with 8, calls do not wait until a write is
 *               on the disk. After a power failure the last writes of such a session can be gone,
 *               but never what others wrote, nor the store itself; nothing is lost if only the
 *               program dies. The other bits mean nothing.
 *   init_param  Bundled: how many seconds a call waits, for other writers of a file or for a silent
 *               server, before it fails; 30 is a good value. Over PostgreSQL, less than 1 is 1.
 *   buffer_*    Route and size in the library's own unit of its client-side buffer; "NULL" and 0
 *               mean none. Bundled: there is no such buffer.
 *
 * Bundled: a host "file:PATH" is a store in that file, which is made if it is missing; port, user
 * and password are not used. Any other host is a PostgreSQL server, or several separated by commas,
 * and the first one that takes writes is used. Null if the session could not write. */
ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t init_param,
                            const char *user, const char *password, const char *buffer_route,
                            int32_t buffer_size);

/* 0 while the session works; another value when it is lost, and for null. A lost session stays
 * lost: a new one is made with kelp2_init. Bundled: asks the server. */
int32_t kelp2_status(ConnectionHandle connection);

/* Ends the session and releases the handle. Bundled: results that were made through it can be read
 * and released afterwards too. */
int32_t kelp2_close(ConnectionHandle connection);

/* The server's clock. */
int32_t kelp2_get_system_time(ConnectionHandle connection, int32_t *time);

/* The time of six calendar fields: year with four digits, month and day from 1, hour 0 to 23,
 * minute and second 0 to 59. Needs no connection and cannot fail. Bundled: the fields are
 * UTC; one outside its range carries over into the next, as 60 minutes into an hour, and a moment
 * that an int32 cannot hold gives the nearest time that it can. */
int32_t kelp2_encode_time(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                          int32_t second);

/* The exact inverse of kelp2_encode_time. */
int32_t kelp2_decode_time(int32_t time, int32_t *year, int32_t *month, int32_t *day, int32_t *hour,
                          int32_t *minute, int32_t *second);

/* Lists the databases: `list` receives an array of `count` objects that the library allocates and
 * the caller gives back with kelp2_free_list. Their field PN is the database's name. An empty list
 * is null and needs no release. Bundled: every store has one database, W3. */
int32_t kelp2_get_database(ConnectionHandle connection, int32_t *count, ObjectHandle **list);

/* Releases a list and its objects; `count` as the listing operation gave it. */
int32_t kelp2_free_list(int32_t count, ObjectHandle *list);

/* ---- Groups, objects and the tree ---- */

/* An empty group. Needs no connection. Null if there is no memory for it. */
GroupHandle kelp2_new_group(void);

/* Appends a copy of the name. Nothing is looked up yet. */
int32_t kelp2_add_group_point(GroupHandle group, const char *full_name);

int32_t kelp2_free_group(GroupHandle group);

/* A new object with a name of its own, without full stops, and an ObjectKind. Its fields are 0 and
 * empty. It is on the server only once kelp2_modify_object has inserted it. Null on failure. */
ObjectHandle kelp2_new_object(ConnectionHandle connection, const char *name, int32_t kind);

/* Set a field in the object, to be sent by the next kelp2_modify_object. PN cannot be set. */
int32_t kelp2_object_set_string(ObjectHandle object, const char *field, const char *value);
int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value);
int32_t kelp2_object_set_double(ObjectHandle object, const char *field, double value);

/* Copies a text field into `buffer` of `size` bytes, zero-terminated and cut to fit. */
int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer, int32_t size);

/* The field's value itself; 0 for a field that the object does not have. */
int32_t kelp2_object_get_int(ObjectHandle object, const char *field);
double kelp2_object_get_double(ObjectHandle object, const char *field);

/* Applies a ModifyOperation to `count` objects under the container with the full name `parent`: a
 * database for nodes, a node for points. The objects stay the caller's. Returns the number of
 * objects done; entries are 0 for those.
 *
 *   Update  takes objects that were read. Bundled: sends only the fields that were set since.
 *   Insert  takes new objects. A name that exists, or a parent that does not, is a failed entry.
 *   Delete  takes objects that were read or listed, and removes a point's values with it.
 *           Bundled: a node that still has points is a failed entry.
 *
 * Bundled: a call that fails as a whole returns its code, which is negative, and sets every entry
 * to it. */
int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors);

/* Reads points by id, or nodes and points by name, one object per entry for the caller to release.
 * Every slot of `objects` is written: one whose entry failed can be passed to every operation that
 * takes an object. Bundled: such a slot is null. */
int32_t kelp2_get_object_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors);
int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors);

/* Lists the points directly under a node; `list` as in kelp2_get_database. Bundled: a node that
 * does not exist has none, a database that does not exist is a failure. */
int32_t kelp2_get_child(ConnectionHandle connection, const char *full_name, int32_t *count,
                        ObjectHandle **list);

/* The ids of the points that the group names. There are no entries. Bundled: an unknown name has
 * the id 0. Other libraries may leave anything there. */
int32_t kelp2_get_id_byname(ConnectionHandle connection, GroupHandle group, int32_t *ids);

int32_t kelp2_free_object(ObjectHandle object);

/* ---- Current values, history and statistics ----
 *
 * Bundled: a point has one history. Every operation that writes values stores them there, and a
 * later write replaces an earlier one of the same point and time, also within a call. What a call
 * has acknowledged is read back at once by every session. */

/* Sets the current value of each point, all at one time. Bundled: the latest call sets it, also one
 * with an older time. An entry below 0 is a point that failed. */
int32_t kelp2_write_value(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, int32_t time, const int16_t *statuses,
                          const double *values, int32_t *errors);

/* Read the current value of each point with its time and status. Of a failed entry nothing else is
 * written. Bundled: only kelp2_write_value sets it; before that, a point has a failed entry. */
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

/* Query the history of each point over a range, each in its own HistoryMode. `interval` is the step
 * of statistics in seconds. Every slot of `results` is written; one whose entry failed has no rows
 * and can be released like the others.
 *
 * Bundled: statistics have a row for each [begin + k * interval, begin + (k + 1) * interval) that
 * holds a value, the last one cut at the range's end; an interval of 0 or less is the whole range.
 *
 * Bundled: results are what was there at one moment of the query, whatever is written or deleted
 * afterwards, and no longer need the session. For that, the query reads all its rows before it
 * returns, 16 bytes for a value and 64 for a row of statistics: up to 128 MB are kept in memory,
 * more than that in a nameless file in TMPDIR or /var/tmp (-10 if there is no room). Releasing the
 * last result of the query frees both. A server that distributes points has one moment for each
 * point. */
int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors);
int32_t kelp2_get_history_byname(ConnectionHandle connection, GroupHandle group,
                                 const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors);

/* The number of rows of a result; 0 or less means none. Bundled: exactly those that can be
 * fetched. */
int32_t kelp2_num_rows(ResultHandle result);

/* Deliver the next row of a result in the mode of that name, in the order of time, and move on.
 * Bundled: several results may be read in turn, in any order, at the same cost.
 * kelp2_fetch_stat_value returns 0 or 1 for a row delivered, any other value on failure. Bundled: 1
 * is the last row. After it, and in the other mode, a fetch fails. */
int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status, double *value);
int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row);

int32_t kelp2_free_result(ResultHandle result);

/* ---- Cache and snapshots ---- */

/* Writes `count` rows, each of its own point and time, to the server's cache. Whether and when they
 * become history is up to the server. Bundled: they are history at once. */
int32_t kelp2_write_cache(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, const int32_t *times, const int16_t *statuses,
                          const double *values, int32_t *errors);

/* The same for rows of one point; `error` is that point's one entry. */
int32_t kelp2_write_cache_one(ConnectionHandle connection, int32_t reserved, int32_t id,
                              int32_t count, const int32_t *times, const int16_t *statuses,
                              const double *values, int32_t *error);

/* Sets the value of each point at one given time. Bundled: it becomes history; the current value
 * does not change. */
int32_t kelp2_write_snap(ConnectionHandle connection, int32_t reserved, int32_t count,
                         const int32_t *ids, int32_t time, const int16_t *statuses,
                         const double *values, int32_t *errors);

/* Read the value that each point had at one given time. Bundled: the newest one at or before it; a
 * point without one has a failed entry. */
int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors);
int32_t kelp2_get_snap_byname(ConnectionHandle connection, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors);

#ifdef __cplusplus
}
#endif

#endif
