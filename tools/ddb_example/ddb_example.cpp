// ddb_example <file.ddb>: builds a small timing model through the node entry
// points and saves it as a .ddb database that kestrel can read: a device node
// (map type 67) with a description, below it a micro node with a description,
// and delays of several kinds below the device's logic and IO cells.
#include <iostream>
#include <string>

#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

namespace {

DTM_NODE* build_model() {
  DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  DTM_NODE* device = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true);
  device->set_description("Fast speed grade");
  root->add_node(device);

  // Micro delays of the device itself, and the micro node's description.
  root->add_micro_node_delay(120, TCO_DELAY, DTM_MAP_DEVICE);
  root->add_micro_node_delay(45, TSU_DELAY, DTM_MAP_DEVICE);
  root->add_micro_node_delay(125, TH_DELAY, DTM_MAP_DEVICE);
  device->get_sub_node(DTM_MICRO)->set_description("Micro timing of the device");

  // A logic cell: micro delays, a table and point-to-point delays.
  root->add_micro_node_delay(80, TCO_DELAY, DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL);
  for (int row = 0; row < 4; ++row) {
    for (int col = 0; col < 4; ++col) {
      root->add_table_node_delay(100 + 10 * row + col, static_cast<DTM_ENUM>(ROW_1 + row),
                                 static_cast<DTM_ENUM>(COL_0 + col), DTM_MAP_DEVICE,
                                 DTM_MAP_LOGIC_CELL);
    }
  }
  for (int port = 0; port < 4; ++port) {
    root->add_p2p_node_delay(200 + port, static_cast<DB_INPUT_PORT_TYPE>(port),
                             static_cast<DB_OUTPUT_PORT_TYPE>(0), DTM_NONE, DTM_MAP_DEVICE,
                             DTM_MAP_LOGIC_CELL);
  }
  // An IO cell: RC delays and a register element.
  root->add_rc_float(1.5, static_cast<CDB_RE_TYPE>(1), RC_RISE, DTM_NONE, DTM_MAP_DEVICE,
                     DTM_MAP_IO_CELL);
  root->add_rc_float(1.75, static_cast<CDB_RE_TYPE>(1), RC_FALL, DTM_NONE, DTM_MAP_DEVICE,
                     DTM_MAP_IO_CELL);
  root->add_re_node_delay(33, static_cast<CDB_RE_TYPE>(2), DTM_MAP_DEVICE, DTM_MAP_IO_CELL);
  return root;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string extension = ".ddb";
  const std::string file = argc == 2 ? argv[1] : "";
  if (file.size() <= extension.size() ||
      file.compare(file.size() - extension.size(), extension.size(), extension) != 0) {
    std::cerr << "usage: ddb_example <file.ddb>\n";
    return 2;
  }
  DTM_NODE* model = build_model();
  PDB_ARCHIVE archive;
  archive.open(file.substr(0, file.size() - extension.size()));
  int status = 0;
  try {
    if (!pdb_write_(model, archive, "")) {
      std::cerr << "ddb_example: cannot create " << file << "\n";
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
