// A libkelpapi2.so that finds no memory for a session, and says so to its caller as a library does.
#include <kelpapi2.h>

#include <new>

ConnectionHandle kelp2_init(int32_t /*option*/, const char * /*host*/, int32_t /*port*/,
                            int32_t /*init_param*/, const char * /*user*/,
                            const char * /*password*/, const char * /*buffer_route*/,
                            int32_t /*buffer_size*/) {
  try {
    return static_cast<ConnectionHandle>(::operator new(PTRDIFF_MAX));
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}
