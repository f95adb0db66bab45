#include "LinesFile.h"

#include <QDir>
#include <QFileDialog>

#include <fstream>

#include "Alert.h"

namespace LinesFile {

bool Write(const std::string& path, const std::vector<std::string>& lines) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    for (const std::string& line : lines) {
        file << line << '\n';
    }
    file.close();
    return !file.fail();
}

void AskAndSave(QWidget* parent, const std::string& suggestedName,
                const std::vector<std::string>& lines) {
    const QString path = QFileDialog::getSaveFileName(
        parent, QObject::tr("Save"), QDir::home().filePath(QString::fromStdString(suggestedName)));
    if (path.isEmpty()) {
        return;
    }
    if (!Write(path.toStdString(), lines)) {
        Alert::Go("The file " + path.toStdString() + " could not be written.");
    }
}

}  // namespace LinesFile
