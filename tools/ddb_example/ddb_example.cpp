// ddb_example FILE.dmf [DEVICE] FILE.ddb: builds the timing model of a DMF
// file with the build pipeline (for an amalgamated file, the model of DEVICE)
// and saves it as a .ddb database. A small example of the library's use.
// Reports go to standard error; the exit status is 1 when the model could not
// be built or saved, 2 for a usage error.
#include <iostream>
#include <string>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "pdb_sys.h"

namespace {

int run(int argc, const char** argv) {
  const std::string extension = ".ddb";
  const std::string output = argc == 3 || argc == 4 ? argv[argc - 1] : "";
  if (output.size() <= extension.size() ||
      output.compare(output.size() - extension.size(), extension.size(), extension) != 0) {
    std::cerr << "usage: ddb_example FILE.dmf [DEVICE] FILE.ddb\n";
    return 2;
  }
  const std::string device = argc == 4 ? argv[2] : "";
  const DTM_FACTORY factory;
  DTM_NODE* model = factory.build_nodes(argv[1], argc == 4 ? &device : nullptr, false, false);
  if (model == nullptr) {
    std::cerr << "ddb_example: no model in " << argv[1] << "\n";
    return 1;
  }
  PDB_ARCHIVE archive;
  archive.open(output.substr(0, output.size() - extension.size()));
  int status = 0;
  try {
    if (!pdb_write_(model, archive, "")) {
      std::cerr << "ddb_example: cannot create " << output << "\n";
      status = 1;
    }
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    std::cerr << "ddb_example: " << error.what() << "\n";
    status = 1;
  }
  archive.close();
  MEM_MANAGER::delete_wrapper(model);
  return status;
}

}  // namespace

int main(int argc, char** argv) { return msg_exe_main(argc, argv, run); }
