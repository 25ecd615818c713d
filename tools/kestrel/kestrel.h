// The kestrel driver's exported interface.
#pragma once

// The driver: loads a .ddb model and prints two of its descriptions.
int kestrel_exe_main(int argc, const char** argv);

// True for a plain DMF file, false for an amalgamated one (a first line that
// carries the device listing). A file that cannot be read counts as plain.
bool test_non_amalgamated(const char* file_name);
