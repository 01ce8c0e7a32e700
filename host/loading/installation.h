// Where this program or library lies, and what an installation laid down around it.
#pragma once

#include <filesystem>

namespace velmora::host {

/// The folder of the program, or of the library, that this code is linked into.
std::filesystem::path OwnFolder();

/// The folder that the plug-in lies in: this code's own, or that of the installation which this
/// code is a part of, wherever it was installed or moved to.
std::filesystem::path PluginFolder();

/// The folder of the settings: that of the installation which this code is a part of, else the one
/// that it was built for.
std::filesystem::path SettingsFolder();

}  // namespace velmora::host
