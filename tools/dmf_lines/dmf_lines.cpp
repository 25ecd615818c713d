// dmf_lines FILE.dmf [DEVICE]: reads a DMF file and prints what was read, in
// the line-trace format. For an amalgamated file it lists the devices and
// reads each one's section (or only DEVICE's). Reports go to standard error;
// the exit status is 1 when there was any.
#include <iostream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "kestrel.h"
#include "msg_sys.h"

namespace {

std::size_t print_lines(const DTM_LINE_NODE* head) {
  std::size_t count = 0;
  for (const DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next(), ++count) {
    node->dump_node(std::cout);
  }
  return count;
}

int run(int argc, const char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: dmf_lines FILE.dmf [DEVICE]\n";
    return 2;
  }
  const DTM_FACTORY factory;
  const std::size_t reports_before = MSG_INTERNAL_ERROR::get_report_count();
  const char* file = argv[1];
  if (test_non_amalgamated(file)) {
    DTM_LINE_NODE* head = factory.parse_file(file);
    std::cout << "== " << file << " (plain)\n";
    const std::size_t count = print_lines(head);
    std::cout << "== " << count << " records\n";
    DTM_LINE_NODE::delete_list(head);
  } else {
    std::vector<std::string> devices;
    factory.get_device_listing(file, devices);
    std::cout << "== " << file << " (amalgamated) devices:";
    for (const std::string& device : devices) {
      std::cout << ' ' << device;
    }
    std::cout << '\n';
    for (const std::string& device : devices) {
      if (argc == 3 && device != argv[2]) {
        continue;
      }
      DTM_LINE_NODE* head = factory.parse_file_advanced(file, &device);
      std::cout << "== device " << device << '\n';
      const std::size_t count = print_lines(head);
      std::cout << "== " << count << " records\n";
      DTM_LINE_NODE::delete_list(head);
    }
  }
  return MSG_INTERNAL_ERROR::get_report_count() == reports_before ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) { return msg_exe_main(argc, argv, run); }
