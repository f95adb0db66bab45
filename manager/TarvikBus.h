#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>

class TalismanApplication;

// One program per desktop session: the first one owns a name on the D-Bus session bus and
// answers these requests; a later start hands its files and links over and ends.
//
//   gdbus call --session --dest org.marlowen.Tarvik --object-path /org/marlowen/Tarvik
//       --method org.marlowen.Tarvik.open "{'Server': <'ftp.example.org'>, 'FTPPort': <'21'>}"
class TarvikBus : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.marlowen.Tarvik")

public:
    static constexpr const char* kService = "org.marlowen.Tarvik";
    static constexpr const char* kPath = "/org/marlowen/Tarvik";

    explicit TarvikBus(QObject* parent = nullptr) : QObject(parent) {}

    enum class Claimed { ByThisProgram, ByAnother, NoBus };

    // Takes the name. Calls are answered only once Serve has named the application and the
    // event loop runs.
    Claimed Claim();
    void Serve(TalismanApplication* application) { application_ = application; }
    // Asks the program that has the name to open these; false when it could not be reached.
    static bool HandOver(const QStringList& items, bool desktop);

public slots:
    // Fills the form with the fields given ("Server", "Login", "Password", "LocalDirectory",
    // "HostDirectory", "FTPPort") and starts a session from it.
    Q_SCRIPTABLE void open(const QVariantMap& fields);
    Q_SCRIPTABLE void Show();
    // Quick-Launch files (absolute paths) and ftp:// links, as a later start was given them.
    Q_SCRIPTABLE void OpenArguments(const QStringList& items, bool desktop);
    // The titles of the open session windows.
    Q_SCRIPTABLE QStringList Sessions() const;

private:
    TalismanApplication* application_ = nullptr;
};
