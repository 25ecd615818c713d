// dmf_build [options] FILE.dmf [DEVICE]: builds the timing model of a DMF
// file with the build pipeline and prints it. An amalgamated file needs the
// DEVICE whose model to build (its section and the COMMON section before
// it); a plain file takes none.
//
//   --paths        print the path listing instead of the outline
//   --trace        also write the traces FILE.dmf.trf_line and FILE.dmf.trf
//   --bin NAME     build for this bin (default: the first group of each line)
//   --version NAME build for this version
//
// Reports go to standard error; the exit status is 1 when there was any, 2
// for a usage error.
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "kestrel.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

struct OPTIONS {
  std::string m_file;
  std::string m_device;
  bool m_paths = false;
  bool m_trace = false;
  DTM_FACTORY::DTM_DELAY_TARGET m_target;
};

constexpr const char* k_usage =
    "usage: dmf_build [--paths] [--trace] [--bin NAME] [--version NAME] FILE.dmf [DEVICE]\n";

// False on a usage error.
bool parse_options(int argc, const char** argv, OPTIONS& options) {
  std::vector<std::string> positional;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--paths") {
      options.m_paths = true;
    } else if (argument == "--trace") {
      options.m_trace = true;
    } else if ((argument == "--bin" || argument == "--version") && i + 1 < argc) {
      (argument == "--bin" ? options.m_target.m_bin : options.m_target.m_version) =
          MEM_STRING(argv[++i]);
    } else if (argument.starts_with("--")) {
      return false;
    } else {
      positional.emplace_back(argument);
    }
  }
  if (positional.empty() || positional.size() > 2) {
    return false;
  }
  options.m_file = positional[0];
  options.m_device = positional.size() == 2 ? positional[1] : "";
  return true;
}

int run(int argc, const char** argv) {
  OPTIONS options;
  if (!parse_options(argc, argv, options)) {
    std::cerr << k_usage;
    return 2;
  }
  DTM_FACTORY factory;
  factory.set_delay_target(options.m_target);
  const char* file = options.m_file.c_str();
  const bool plain = test_non_amalgamated(file);
  if (!plain && options.m_device.empty()) {
    std::vector<std::string> devices;
    factory.get_device_listing(file, devices);
    std::cerr << "dmf_build: " << options.m_file << " holds several devices; name one of:";
    for (const std::string& device : devices) {
      std::cerr << ' ' << device;
    }
    std::cerr << '\n';
    return 2;
  }
  const std::size_t reports_before = MSG_INTERNAL_ERROR::get_report_count();
  DTM_NODE* model = factory.build_nodes(file, plain ? nullptr : &options.m_device, options.m_trace,
                                        options.m_trace);
  if (model != nullptr) {
    if (options.m_paths) {
      model->dump_tree(std::cout, std::string());
    } else {
      model->dump_tree(std::cout, 0, 1, 1);
    }
  }
  MEM_MANAGER::delete_wrapper(model);
  return MSG_INTERNAL_ERROR::get_report_count() == reports_before ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) { return msg_exe_main(argc, argv, run); }
