// The kestrel executable: the program wrapper runs the driver.
#include "kestrel.h"
#include "msg_sys.h"

int main(int argc, char** argv) {
  msg_set_stack_size(0);
  return msg_exe_main(argc, argv, kestrel_exe_main);
}
