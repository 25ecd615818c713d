// dtmtool: the command line for timing models (docs/dtmtool.md).
//
// main() hands the arguments to dtmtool_main through msg_exe_main; the
// subcommand table (dtmtool_cli.cpp) parses the arguments of the chosen
// subcommand with its option table and calls its run function
// (dtmtool_commands.cpp). Models are built, loaded and saved by
// dtmtool_model.cpp; every report of the library goes through the tool's
// reporter (dtmtool_report.cpp), which prints it as "FILE: message" and
// counts it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class DTM_NODE;

// Exit statuses.
inline constexpr int DTMTOOL_OK = 0;
inline constexpr int DTMTOOL_INPUT_ERROR = 1;  // the input has errors (diff: the models differ)
inline constexpr int DTMTOOL_USAGE = 2;        // wrong usage, or an input that cannot be read

// The real main function (argv[0] is the program name).
int dtmtool_main(int argc, const char** argv);

// --- Arguments ----------------------------------------------------------------
// Everything the options of any subcommand can set; each subcommand's option
// table says which of them it accepts.
struct DTMTOOL_ARGS {
  std::vector<std::string> m_operands;
  std::string m_output;  // -o
  // How DMF text becomes a model.
  std::optional<std::string> m_device;
  std::optional<std::string> m_bin;
  std::optional<std::string> m_version;
  bool m_update = false;
  bool m_trace_lines = false;
  bool m_trace_tree = false;
  // dump
  bool m_outline = false;
  bool m_paths = false;
  // diff
  bool m_values = false;
  bool m_missing = false;
  float m_tolerance = 0.0F;
};

// --- Reports ------------------------------------------------------------------
// While alive, the reporter of the process: every report of the library is
// printed on standard error as "FILE: message" (FILE is the input being
// worked on, "dtmtool" when there is none) and counted.
class DTMTOOL_REPORTER {
 public:
  DTMTOOL_REPORTER();
  ~DTMTOOL_REPORTER();
  DTMTOOL_REPORTER(const DTMTOOL_REPORTER&) = delete;
  DTMTOOL_REPORTER& operator=(const DTMTOOL_REPORTER&) = delete;

  // The input that the following reports are about.
  void set_file(const std::string& file);
  const std::string& get_file() const;
  std::size_t get_count() const;

 private:
  class POLICY;
  std::unique_ptr<POLICY> m_policy;
};

// A message of the tool itself on standard error: "dtmtool: text" (or
// "dtmtool COMMAND: text" once a subcommand runs). Not counted as a report.
void dtmtool_error(const std::string& text);
void dtmtool_set_command(const char* command);

// While alive, what the library writes to standard output (the delay tree's
// duplicate warning) goes to standard error instead, each line prefixed with
// the reporter's file: standard output carries results only.
class DTMTOOL_LIBRARY_OUTPUT {
 public:
  explicit DTMTOOL_LIBRARY_OUTPUT(const DTMTOOL_REPORTER& reporter);
  ~DTMTOOL_LIBRARY_OUTPUT();
  DTMTOOL_LIBRARY_OUTPUT(const DTMTOOL_LIBRARY_OUTPUT&) = delete;
  DTMTOOL_LIBRARY_OUTPUT& operator=(const DTMTOOL_LIBRARY_OUTPUT&) = delete;

 private:
  class BUFFER;
  std::unique_ptr<BUFFER> m_buffer;
};

// --- Progress -----------------------------------------------------------------
// While alive, and only when standard error is a terminal: after a short
// delay (DTMTOOL_PROGRESS_DELAY milliseconds, 500 by default), a line on
// standard error that tells how far the build of `file` has come, redrawn a
// few times a second and removed at the end.
class DTMTOOL_PROGRESS {
 public:
  explicit DTMTOOL_PROGRESS(const std::string& file);
  ~DTMTOOL_PROGRESS();
  DTMTOOL_PROGRESS(const DTMTOOL_PROGRESS&) = delete;
  DTMTOOL_PROGRESS& operator=(const DTMTOOL_PROGRESS&) = delete;

  // Held while anything else is written to standard error: keeps the
  // indicator from drawing and removes its line first.
  class PAUSE {
   public:
    PAUSE();
    ~PAUSE();
    PAUSE(const PAUSE&) = delete;
    PAUSE& operator=(const PAUSE&) = delete;
  };

 private:
  bool m_running = false;
};

// --- Models -------------------------------------------------------------------
struct DTMTOOL_MODEL_DELETER {
  void operator()(DTM_NODE* root) const;
};
using DTMTOOL_MODEL = std::unique_ptr<DTM_NODE, DTMTOOL_MODEL_DELETER>;

// True for the name of a .ddb database (it ends with ".ddb"); any other name
// is DMF text.
bool dtmtool_is_database(const std::string& name);

// Checks that DMF inputs can be read as the arguments ask: each file exists,
// and an amalgamated file comes with a device. Prints what is wrong and
// returns false (a usage error).
bool dtmtool_check_dmf_inputs(const std::vector<std::string>& files, const DTMTOOL_ARGS& args);

// Builds one model from DMF files, each adding to the model of the ones
// before, with the device, bin, version, update and trace options of `args`.
// Reports are counted by `reporter`; the model is returned as built.
DTMTOOL_MODEL dtmtool_build(const std::vector<std::string>& files, const DTMTOOL_ARGS& args,
                            DTMTOOL_REPORTER& reporter);

// A model for a command that reads one: a database is loaded, DMF text is
// built. Null, with the reason printed, when the input cannot be read (sets
// `status` to DTMTOOL_USAGE) or gave reports (DTMTOOL_INPUT_ERROR): a model
// with errors is never used.
DTMTOOL_MODEL dtmtool_read_model(const std::string& input, const DTMTOOL_ARGS& args,
                                 DTMTOOL_REPORTER& reporter, int& status);

// Saves a model as a .ddb database; false, with the reason printed, when it
// could not be written.
bool dtmtool_save(const DTM_NODE& root, const std::string& database, DTMTOOL_REPORTER& reporter);

// --- Subcommands --------------------------------------------------------------
int dtmtool_build_command(const DTMTOOL_ARGS& args);
int dtmtool_check_command(const DTMTOOL_ARGS& args);
int dtmtool_devices_command(const DTMTOOL_ARGS& args);
int dtmtool_dump_command(const DTMTOOL_ARGS& args);
int dtmtool_query_command(const DTMTOOL_ARGS& args);
int dtmtool_diff_command(const DTMTOOL_ARGS& args);
int dtmtool_export_command(const DTMTOOL_ARGS& args);
