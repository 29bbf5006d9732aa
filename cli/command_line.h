// The command line of vntfix: its commands, their options and what help says of them. What parses the
// arguments is also what help is made of.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace CLI {
class App;
}

namespace vnt::cli {

// The options of all commands, those of `command` filled.
struct Request {
  std::string command;
  FixOptions fix;
  bool backup = false;
  std::string backup_folder;
  UndoOptions undo;
  std::string file, table;
  bool all_tables = false;
  std::optional<jet::Format> format;
  DiffOptions diff;
  ListOptions list;
  ExportOptions exported;
  SqlOptions sql;
  SampleCommandOptions sample;
  CopyOptions copy;
  std::string topic;  // of help
  ServerLogin login;

  // The databases that the command opens.
  std::vector<std::string> Files() const;
};

// None when there is nothing to do: help was asked for, or the arguments make no sense. `*status` is then the
// exit status, and what is to be said has been printed.
std::optional<Request> ParseCommandLine(const std::vector<std::string>& arguments, Streams& streams,
                                        int* status);

// Calls `use` with the table of commands and options that the parser goes by, for what is made of it besides:
// completions and the manual.
void WithCommandLine(const std::function<void(const CLI::App&)>& use);

}  // namespace vnt::cli
