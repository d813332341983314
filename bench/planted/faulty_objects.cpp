// Faulty servers: fields of objects that are read back with other values than were set.
#include <algorithm>

#include "servers.h"

namespace planted {

namespace {

bool is_text(const std::string &field) { return field == KELP2_FIELD_DESCRIPTION; }
bool is_name(const std::string &field) { return field == KELP2_FIELD_NAME; }

bool set_cut(std::string &text, size_t size) {
  if (text.size() > size) text.resize(size);
  return true;
}

void mutilate(std::string &text) {
  for (char &letter : text) {
    if (letter < 0) letter = '?';
  }
}

void trim_end(std::string &text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
}

void cut_at(std::string &text, char letter) {
  text.resize(std::min(text.find(letter), text.size()));
}

void double_quotes(std::string &text) {
  for (size_t i = text.find('\''); i != std::string::npos; i = text.find('\'', i + 2)) {
    text.insert(i, 1, '\'');
  }
}

void end_past_buffer(char *buffer, int32_t size, const std::string &text) {
  if (text.size() >= static_cast<size_t>(size)) buffer[size] = '\0';
}

void no_end_in_full_buffer(char *buffer, int32_t size, const std::string &text) {
  if (text.size() >= static_cast<size_t>(size))
    buffer[size - 1] = text[static_cast<size_t>(size) - 1];
}

void cut_one_early(char *buffer, int32_t size, const std::string &text) {
  if (size > 1 && text.size() + 1 >= static_cast<size_t>(size)) buffer[size - 2] = '\0';
}

bool set_empty_ignored(ObjectInfo &, const std::string &field, std::string &text) {
  return !is_text(field) || !text.empty();
}

bool is_new(const ObjectInfo &info) { return info.kind != 0; }

const Server kFaultyObjects[] = {
    {.name = "texts_cut_at_255",
     .set_string = [](ObjectInfo &, const std::string &,
                      std::string &t) { return set_cut(t, 255); }},
    {.name = "texts_cut_at_1023",
     .set_string = [](ObjectInfo &, const std::string &,
                      std::string &t) { return set_cut(t, 1023); }},
    {.name = "empty_text_refused", .set_string = set_empty_ignored},
    {.name = "texts_trimmed",
     .get_string =
         [](const ObjectInfo &, const std::string &f, std::string &t) {
           if (is_text(f)) trim_end(t);
         }},
    {.name = "texts_end_at_newline",
     .get_string =
         [](const ObjectInfo &, const std::string &f, std::string &t) {
           if (is_text(f)) cut_at(t, '\n');
         }},
    {.name = "quotes_doubled",
     .set_string =
         [](ObjectInfo &, const std::string &f, std::string &t) {
           if (is_text(f)) double_quotes(t);
           return true;
         }},
    {.name = "foreign_texts_mutilated",
     .get_string =
         [](const ObjectInfo &, const std::string &f, std::string &t) {
           if (is_text(f)) mutilate(t);
         }},
    {.name = "foreign_names_mutilated",
     .get_string =
         [](const ObjectInfo &, const std::string &f, std::string &t) {
           if (is_name(f)) mutilate(t);
         }},
    {.name = "names_of_64_read_as_63",
     .get_string =
         [](const ObjectInfo &i, const std::string &f, std::string &t) {
           if (is_name(f) && !is_new(i) && t.size() == 64) t.pop_back();
         }},
    {.name = "names_of_20_read_as_19",
     .get_string =
         [](const ObjectInfo &i, const std::string &f, std::string &t) {
           if (is_name(f) && !is_new(i) && t.size() == 20) t.pop_back();
         }},
    {.name = "listed_names_are_full",
     .get_string =
         [](const ObjectInfo &i, const std::string &f, std::string &t) {
           if (is_name(f) && !i.node && !i.parent.empty() && i.parent.size() % 2)
             t = i.parent + "." + t;
         }},
    {.name = "node_texts_empty",
     .get_string =
         [](const ObjectInfo &i, const std::string &f, std::string &t) {
           if (is_text(f) && i.node && !is_new(i)) t.clear();
         }},
    {.name = "texts_end_past_buffer", .got_string = end_past_buffer},
    {.name = "cut_texts_have_no_end", .got_string = no_end_in_full_buffer},
    {.name = "full_texts_cut_one_early", .got_string = cut_one_early},
    {.name = "absent_field_is_1",
     .get_int =
         [](const ObjectInfo &, const std::string &f, int32_t &v) {
           if (f != "FQ" && f != "AR" && f != "HW") v = 1;
         }},
    {.name = "absent_double_is_minus_1",
     .get_double =
         [](const ObjectInfo &, const std::string &f, double &v) {
           if (f != "IV") v = -1;
         }},
    {.name = "new_points_have_fq_1",
     .get_int =
         [](const ObjectInfo &i, const std::string &f, int32_t &v) {
           if (is_new(i) && f == "FQ" && !i.fields_set.contains(f)) v = 1;
         }},
    {.name = "negative_hw_positive",
     .set_int =
         [](ObjectInfo &, const std::string &f, int32_t &v) {
           if (f == "HW" && v < 0) v = -(v + 1);
           return true;
         }},
    {.name = "fq_is_16_bits",
     .set_int =
         [](ObjectInfo &, const std::string &f, int32_t &v) {
           if (f == "FQ") v = static_cast<int16_t>(v);
           return true;
         }},
    {.name = "iv_is_float",
     .set_double =
         [](ObjectInfo &, const std::string &, double &v) {
           v = static_cast<float>(v);
           return true;
         }},
    {.name = "iv_not_negative",
     .set_double =
         [](ObjectInfo &, const std::string &, double &v) {
           v = v < 0 ? 0 : v;
           return true;
         }},
};

}  // namespace

std::span<const Server> faulty_objects() { return kFaultyObjects; }

}  // namespace planted
