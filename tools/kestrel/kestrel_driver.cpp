// The driver: loads the timing model persisted in a .ddb database and prints
// the descriptions of its device node (map type 67) and of that node's micro
// node (DTM_MICRO). Everything goes to standard output.
#include <iostream>
#include <string>

#include "dtm_node.h"
#include "fio_sys.h"
#include "kestrel.h"
#include "pdb_sys.h"

namespace {

// The device node's map type under the root, and the micro node below it.
constexpr DTM_NODE_ENUM k_device_node = static_cast<DTM_NODE_ENUM>(67);
constexpr DTM_NODE_ENUM k_micro_node = static_cast<DTM_NODE_ENUM>(55);

}  // namespace

// A PDB_DATABASE_EXCEPTION raised while the model is read is not caught here:
// it reaches the program wrapper, which reports it and ends with status 1
// (docs/kestrel.md).
int kestrel_exe_main(int argc, const char** argv) {
  if (argc != 2) {
    std::cout << "The useage of kestrel.exe is:\n";
    std::cout << "kestrel <file1>\n";
    return 1;
  }
  std::string name = argv[1];
  if (!FIO_FILE_SYSTEM::exists(name)) {
    std::cout << std::string("The DMF file ") + argv[1] + " does not exist.\n";
    return 1;
  }
  const std::string::size_type extension = name.find(".ddb", 0);
  if (extension == std::string::npos) {
    std::cout << std::string("The DMF ") + argv[1] + " is not a .ddb file.\n";
    return 1;
  }
  name.replace(extension, 4, "");

  PDB_ARCHIVE archive;
  archive.open(name);
  DTM_NODE* root = nullptr;
  pdb_read_<PDB_ARCHIVE, DTM_NODE>(root, archive, "");
  if (root == nullptr) {
    std::cout << "Error in ddb file!";
    archive.close();
    return 1;
  }
  // A database built for the driver holds both nodes. One that lacks either
  // is refused like an unreadable one rather than dereferenced.
  const DTM_NODE* device = root->get_node(k_device_node);
  const DTM_NODE* micro = device != nullptr ? device->get_node(k_micro_node) : nullptr;
  if (micro == nullptr) {
    std::cout << "Error in ddb file!";
    archive.close();
    MEM_MANAGER::delete_wrapper(root);
    return 1;
  }
  std::cout << device->get_description() << "\n";
  std::cout << micro->get_description() << "\n";
  archive.close();
  MEM_MANAGER::delete_wrapper(root);
  return 0;
}
