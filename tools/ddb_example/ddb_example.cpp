// ddb_example <file.dmf> <file.ddb>: compiles a DMF file into a .ddb
// database, the way the library's pipeline does it: the file is read into
// line records, the lines are checked (findings are reported), converted
// into a timing model, and the model is saved. A small example of the
// library's use, for the main job, until the command-line tool exists.
#include <iostream>
#include <string>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

int main(int argc, char** argv) {
  const std::string extension = ".ddb";
  const std::string output = argc == 3 ? argv[2] : "";
  if (output.size() <= extension.size() ||
      output.compare(output.size() - extension.size(), extension.size(), extension) != 0) {
    std::cerr << "usage: ddb_example <file.dmf> <file.ddb>\n";
    return 2;
  }
  const DTM_FACTORY factory;
  DTM_LINE_NODE* lines = factory.parse_file(argv[1]);
  if (lines == nullptr) {
    std::cerr << "ddb_example: no DMF line in " << argv[1] << "\n";
    return 1;
  }
  if (!factory.check_legality(lines)) {
    std::cerr << "ddb_example: " << argv[1] << " has lines that break their rules\n";
  }
  DTM_NODE* model = factory.convert(lines, nullptr);
  DTM_LINE_NODE::delete_list(lines);

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
