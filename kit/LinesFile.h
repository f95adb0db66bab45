#pragma once

#include <string>
#include <vector>

class QWidget;

// A window's lines (the FTP log, a full listing) saved as a text file the user picks.
namespace LinesFile {
// One line per entry, each ending in a line feed. False when the file could not be written.
bool Write(const std::string& path, const std::vector<std::string>& lines);
// Asks where, then writes; a failure is told in an alert.
void AskAndSave(QWidget* parent, const std::string& suggestedName,
                const std::vector<std::string>& lines);
}  // namespace LinesFile
