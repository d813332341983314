// Static fields of nodes and points, a description and a few numbers each: how the demonstrations
// set them, and how they rewrite or show those of objects that they looked up.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <string>
#include <vector>

// What is written into an object follows from its number in the test tree, counted from 1.
struct StaticFields {
  const char *unit;                           // what the objects are
  const char *description;                    // a format of that number
  std::vector<const char *> integers, reals;  // codes of fields that are all set to that number
};

void set_static_fields(ObjectHandle object, const StaticFields &fields, int32_t number);

// All test nodes or all test points; the arrays can be longer than count.
struct FoundObjects {
  int32_t count;
  GroupHandle group;  // null for objects found by id
  std::vector<ObjectHandle> handles;
  std::vector<int32_t> errors;
};

// Looks up what a group names; the arrays get `size` entries.
FoundObjects look_up_by_name(bool display, int32_t count, GroupHandle group, size_t size);

// Sets the fields of each object and updates it on the server under its parent; then shows the line
// of success. These two release everything that was found.
void rewrite_objects(bool display, FoundObjects found, const StaticFields &fields,
                     std::string (*parent)(int32_t number), const char *success);

// Shows the fields of each object, under a title of its own if there is one.
void show_objects(bool display, const FoundObjects &found, const StaticFields &fields,
                  void (*show_title)(bool display, int32_t position), const char *success);
