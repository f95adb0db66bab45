#pragma once

#include <memory>
#include <string>
#include <vector>

#include "EntryStringItem.h"

class TransferInfo;

// What a session shows and asks, as the engine reports through its monitors: the one way from
// the session's work up to a window. Every call comes from a worker thread; an implementation
// hands it over to its own thread.
class SessionView {
public:
    using Items = std::vector<EntryStringItem>;
    using SharedItems = std::shared_ptr<const Items>;
    enum class Kind { Idea, Warning };

    virtual ~SessionView() = default;

    // The panes: the host's lists as the cache keeps them, the local ones, and the path labels.
    virtual void ShowHostLists(SharedItems directories, SharedItems files) = 0;
    virtual void ShowLocalLists(Items directories, Items files, const std::string& folder) = 0;
    virtual void ShowHostPath(const std::string& text) = 0;
    // A host folder was listed: its path for the history and the Full Listing's title.
    virtual void HostFolderListed(const std::string& path, bool toHistory) = 0;

    // The status window, shown while a list of files or a tree moves.
    virtual void ShowStatus(bool shown) = 0;
    // A tree walk begins and ends: the window may step aside meanwhile.
    virtual void TreeWalking(bool walking) = 0;

    // An alert, and a question: the index of the answer, or `otherwise` from a view that is
    // going and asks nothing any more.
    virtual void Tell(const std::string& text) = 0;
    virtual int Ask(const std::string& text, const std::vector<std::string>& buttons, Kind kind,
                    int otherwise) = 0;

    // The log-on ended: logged on, and how the session is protected; or not, and the view goes.
    virtual void LoggedOn(bool controlProtected, bool dataProtected) = 0;
    virtual void LogOnFailed() = 0;
    // The host operation that ran has ended, or has moved to a connection of its own: the view
    // takes the next one. `status`: "Idle.", or what went wrong, which stays in view.
    virtual void OperationEnded(const std::string& status) = 0;

    // A transfer on a second connection, for the transfer list, from before it connects until
    // it has ended.
    virtual void TransferStarted(TransferInfo* transfer) = 0;
    virtual void TransferEnded(TransferInfo* transfer) = 0;
    // Files were sent beside the session: the host's folder may hold more than it shows.
    virtual void HostChanged() = 0;

    // A host file fetched for viewing, for the desktop to open.
    virtual void OpenFetched(const std::string& path) = 0;
};
