// dtmtool: builds, checks, inspects, queries and compares timing models.
#include "dtmtool.h"
#include "msg_sys.h"

int main(int argc, char** argv) { return msg_exe_main(argc, argv, dtmtool_main); }
