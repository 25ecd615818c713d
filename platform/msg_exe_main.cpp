#include <sys/resource.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "msg_sys.h"

int msg_exe_main(int argc, char** argv, MSG_MAIN_FUNCTION main_function) {
  if (main_function == nullptr) {
    MSG_INTERNAL_ERROR::report("main_function != 0", "MSG", "msg_exe_main", __LINE__);
    return 1;
  }
  int status = 1;
  try {
    status = main_function(argc, const_cast<const char**>(argv));
  } catch (const std::exception& error) {
    MSG_INTERNAL_ERROR::report(std::string("uncaught exception: ") + error.what(), "MSG",
                               "msg_exe_main", __LINE__);
  } catch (...) {
    MSG_INTERNAL_ERROR::report("uncaught exception", "MSG", "msg_exe_main", __LINE__);
  }
  std::cout.flush();
  std::fflush(stdout);
  return status;
}

bool msg_set_stack_size(int bytes) {
  if (bytes <= 0) {
    return bytes == 0;
  }
  rlimit limit{};
  if (getrlimit(RLIMIT_STACK, &limit) != 0) {
    return false;
  }
  const auto wanted = static_cast<rlim_t>(bytes);
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur >= wanted) {
    return true;
  }
  if (limit.rlim_cur == RLIM_INFINITY) {
    return true;
  }
  if (limit.rlim_max != RLIM_INFINITY && wanted > limit.rlim_max) {
    return false;
  }
  limit.rlim_cur = wanted;
  return setrlimit(RLIMIT_STACK, &limit) == 0;
}
