/* A caller in C: the header has to compile as C11 and the library to link without C++. */
#include <kelpapi2.h>

/* 1 if the library does what it should. */
int calls_library_from_c(void) {
  int32_t fields[6] = {0};
  StatValue row = {.status = -1};
  kelp2_decode_time(kelp2_encode_time(2012, 2, 29, 23, 59, 58), &fields[0], &fields[1], &fields[2],
                    &fields[3], &fields[4], &fields[5]);
  return fields[0] == 2012 && fields[1] == 2 && fields[2] == 29 && fields[3] == 23 &&
         fields[4] == 59 && fields[5] == 58 && kelp2_status(NULL) != 0 &&
         kelp2_fetch_stat_value(NULL, &row) != 0 && kelp2_fetch_stat_value(NULL, &row) != 1;
}
