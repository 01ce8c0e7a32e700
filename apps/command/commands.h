// The sub-commands of `velmora`. Each has a file of its own and a line in main.cpp's table.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <functional>
#include <stdexcept>

namespace velmora::command {

inline constexpr int EXIT_OK = 0;
/// Something could not be done; a message said what.
inline constexpr int EXIT_FAILED = 1;
/// The command line cannot be understood.
inline constexpr int EXIT_USAGE = 2;

/// A command line that can be read but makes no sense.
class UsageError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// What to do once the command line is read; answers the exit code.
using Action = std::function<int()>;

/// Adds a sub-command to the application. When it is the one that was asked for, `action` is set.
void AddAds(CLI::App &application, Action &action);
void AddAllow(CLI::App &application, Action &action);
void AddCategories(CLI::App &application, Action &action);
void AddCheckConfig(CLI::App &application, Action &action);
void AddFilter(CLI::App &application, Action &action);
void AddHealth(CLI::App &application, Action &action);
void AddHttps(CLI::App &application, Action &action);
void AddLex(CLI::App &application, Action &action);
void AddLists(CLI::App &application, Action &action);
void AddPreset(CLI::App &application, Action &action);
void AddTestPolicy(CLI::App &application, Action &action);
void AddMetrics(CLI::App &application, Action &action);
void AddReport(CLI::App &application, Action &action);
void AddTop(CLI::App &application, Action &action);
void AddUndo(CLI::App &application, Action &action);
void AddWeb(CLI::App &application, Action &action);
void AddWhy(CLI::App &application, Action &action);

}  // namespace velmora::command
