#include "TalismanLayout.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QShortcut>
#include <QTabWidget>
#include <QTextEdit>
#include <QVBoxLayout>

#include <functional>

#include "FieldLimit.h"
#include "LPBListView.h"
#include "MessageCodes.h"
#include "MessageHandler.h"
#include "PortValidator.h"
#include "TalismanWindow.h"

namespace {

using Code = TalismanWindow::Code;

class Builder {
public:
    Builder(QMainWindow* window, MessageHandler* handler, MessageHandler* application)
        : window_(window), handler_(handler), application_(application) {}

    TalismanLayout::Widgets Build() {
        BuildMenus();
        widgets_.tabs = new QTabWidget;
        widgets_.tabs->setObjectName("maintab");
        widgets_.tabs->addTab(ConnectionPage(), QObject::tr("Establishing a connection"));
        widgets_.tabs->addTab(FirewallPage(), QObject::tr("Firewall settings"));
        widgets_.tabs->addTab(DisplayPage(), QObject::tr("Display settings"));
        auto* central = new QWidget;
        auto* layout = new QVBoxLayout(central);
        layout->setContentsMargins(8, 8, 8, 8);
        layout->addWidget(widgets_.tabs);
        window_->setCentralWidget(central);
        return widgets_;
    }

private:
    // What a control does when used; it outlives this builder, so it holds no pointer to it.
    std::function<void()> Sender(std::uint32_t code, bool toApplication = false) const {
        MessageHandler* target = toApplication ? application_ : handler_;
        return [target, code] {
            if (target != nullptr) {
                target->PostMessage(Message(code));
            }
        };
    }

    QAction* Item(QMenu* menu, const char* label, std::uint32_t code, QKeySequence shortcut = {},
                  bool toApplication = false) {
        QAction* action = menu->addAction(QString::fromUtf8(label));
        action->setShortcut(shortcut);
        QObject::connect(action, &QAction::triggered, window_, Sender(code, toApplication));
        return action;
    }

    void BuildMenus() {
        QMenuBar* bar = window_->menuBar();
        bar->setObjectName("menu_principal");
        QMenu* tarvik = bar->addMenu(QObject::tr("&Tarvik"));
        Item(tarvik, "Save form as a &Quick-Launch file...", Code::kSaveQuickLaunch);
        Item(tarvik, "&Quit Tarvik", kQuitRequested, Qt::CTRL | Qt::Key_Q);
        QMenu* configuration = bar->addMenu(QObject::tr("&Configuration"));
        Item(configuration, "&Save form", Code::kSaveInPlace, Qt::CTRL | Qt::Key_S);
        Item(configuration, "Save form &as...", Code::kAskSaveAs, Qt::CTRL | Qt::ALT | Qt::Key_S);
        Item(configuration, "&Delete form", Code::kDelete, Qt::CTRL | Qt::Key_D);
        Item(configuration, "Re&load form", Code::kLoadSelected, Qt::CTRL | Qt::Key_R);
        Item(configuration, "&Rename form", Code::kAskRename, Qt::CTRL | Qt::ALT | Qt::Key_R);
        Item(configuration, "&Import connections from an init file...", Code::kAskImportInit);
        QMenu* miscellaneous = bar->addMenu(QObject::tr("&Miscellaneous"));
        Item(miscellaneous, "&Erase fields", Code::kErase, Qt::CTRL | Qt::Key_K);
        Item(miscellaneous, "&Anonymous login", Code::kAnonymous, Qt::CTRL | Qt::Key_L);
        QMenu* help = bar->addMenu(QObject::tr("&Help"));
        Item(help, "&On-line help...", FourCC("help"), Qt::CTRL | Qt::Key_H, true);
        Item(help, "A&bout Tarvik", kAboutRequested, {}, true);
    }

    QLineEdit* Field(const char* name, const char* text = "") {
        auto* field = new QLineEdit(QString::fromUtf8(text));
        field->setObjectName(name);
        // Every saved string must load again: the settings file refuses more than 100 bytes.
        field->setValidator(new FieldLimit(field));
        // Enter anywhere in the form connects, as the default button promises.
        QObject::connect(field, &QLineEdit::returnPressed, window_, Sender(Code::kConnect));
        return field;
    }

    QLineEdit* PortField(const char* name) {
        QLineEdit* field = Field(name, "21");
        field->setValidator(new PortValidator(field));
        return field;
    }

    // Tab moves on, as in every other field; Ctrl+Tab still types a tab.
    static void TabLeaves(QTextEdit* edit) {
        edit->setTabChangesFocus(true);
        auto* tab = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Tab), edit,
                                  [edit] { edit->insertPlainText("\t"); });
        tab->setObjectName("typeTab");
        tab->setContext(Qt::WidgetShortcut);
    }

    QPushButton* Button(const char* name, const char* label, std::uint32_t code) {
        auto* button = new QPushButton(QString::fromUtf8(label));
        button->setObjectName(name);
        QObject::connect(button, &QPushButton::clicked, window_, Sender(code));
        return button;
    }

    // The page's own order: down the left column, down the right one, then the rows below both.
    static void OrderTabs(std::initializer_list<QWidget*> widgets) {
        QWidget* previous = nullptr;
        for (QWidget* widget : widgets) {
            if (previous != nullptr && widget != nullptr) {
                QWidget::setTabOrder(previous, widget);
            }
            previous = widget != nullptr ? widget : previous;
        }
    }

    static QGroupBox* Frame(const char* label) {
        auto* frame = new QGroupBox(QString::fromUtf8(label));
        return frame;
    }

    QWidget* ConnectionPage() {
        auto* page = new QWidget;
        auto* grid = new QGridLayout(page);

        widgets_.connectFrame = Frame(" Connect to ");
        auto* connect = new QFormLayout(widgets_.connectFrame);
        widgets_.host = Field("serveur");
        widgets_.login = Field("login");
        widgets_.password = Field("password");
        widgets_.password->setEchoMode(QLineEdit::Password);
        connect->addRow(QObject::tr("Host name:"), widgets_.host);
        connect->addRow(QObject::tr("User name:"), widgets_.login);
        connect->addRow(QObject::tr("Password:"), widgets_.password);

        auto* mirrorFrame = Frame(" Mirror manager");
        auto* mirror = new QGridLayout(mirrorFrame);
        widgets_.mainServer = Button("recover", "Main server", Code::kMainServer);
        widgets_.mainServer->setEnabled(false);
        widgets_.mirrorField = new QPushButton;
        widgets_.mirrorField->setObjectName("menumirror");
        widgets_.mirrors = new QMenu(QObject::tr("Mirror list"), widgets_.mirrorField);
        widgets_.mirrorField->setMenu(widgets_.mirrors);
        widgets_.mirrorField->setText(QObject::tr("Mirror list"));
        mirror->addWidget(widgets_.mainServer, 0, 0);
        mirror->addWidget(widgets_.mirrorField, 0, 1);
        mirror->addWidget(Button("Add", "Add a mirror...", Code::kAskMirror), 1, 0);
        mirror->addWidget(Button("Del", "Delete selected", Code::kDeleteMirror), 1, 1);

        auto* offsetFrame = Frame(" Initial directory offset ");
        auto* offset = new QFormLayout(offsetFrame);
        widgets_.localDirectory = Field("localdirectory");
        widgets_.hostDirectory = Field("remotedirectory");
        offset->addRow(QObject::tr("Client:"), widgets_.localDirectory);
        offset->addRow(QObject::tr("Server:"), widgets_.hostDirectory);

        auto* extraFrame = Frame(" Extra FTP parameters ");
        auto* extra = new QFormLayout(extraFrame);
        widgets_.port = PortField("port");
        widgets_.passive = new QCheckBox(QObject::tr("Passive connection"));
        widgets_.passive->setObjectName("passive");
        QObject::connect(widgets_.passive, &QCheckBox::clicked, window_,
                         Sender(Code::kTogglePassive));
        widgets_.security = new QComboBox;
        widgets_.security->setObjectName("security");
        widgets_.security->addItems(
            {QObject::tr("Explicit TLS if available"), QObject::tr("Require explicit TLS"),
             QObject::tr("Implicit TLS"), QObject::tr("Plain FTP (insecure)")});
        extra->addRow(QObject::tr("FTP port:"), widgets_.port);
        extra->addRow(QObject::tr("Security:"), widgets_.security);
        extra->addRow(widgets_.passive);

        auto* commentFrame = Frame(" Comments ");
        auto* comment = new QVBoxLayout(commentFrame);
        widgets_.comments = new QTextEdit;
        widgets_.comments->setObjectName("commenter");
        widgets_.comments->setAcceptRichText(false);
        widgets_.comments->setMinimumHeight(64);
        widgets_.comments->setAccessibleName(QObject::tr("Comments"));
        widgets_.comments->setPlaceholderText(QObject::tr("Welcome to Tarvik"));
        TabLeaves(widgets_.comments);
        comment->addWidget(widgets_.comments);

        auto* formsFrame = Frame(" Configuration commands ");
        auto* forms = new QGridLayout(formsFrame);
        widgets_.forms = new QListWidget;
        widgets_.forms->setObjectName("listsection");
        widgets_.forms->setSelectionMode(QAbstractItemView::SingleSelection);
        widgets_.forms->setAccessibleName(QObject::tr("Saved forms"));
        widgets_.forms->setAccessibleDescription(
            QObject::tr("A click loads a form into the fields, a double click connects with it"));
        QObject::connect(widgets_.forms, &QListWidget::itemSelectionChanged, window_,
                         Sender(Code::kLoadSelected));
        QObject::connect(widgets_.forms, &QListWidget::itemActivated, window_,
                         Sender(Code::kConnectSelected));
        forms->addWidget(widgets_.forms, 0, 0, 5, 1);
        forms->addWidget(Button("Save", "Save", Code::kSaveInPlace), 0, 1);
        forms->addWidget(Button("SaveAs", "Save As...", Code::kAskSaveAs), 1, 1);
        forms->addWidget(Button("Rename", "Rename...", Code::kAskRename), 2, 1);
        forms->addWidget(Button("Delete", "Delete", Code::kDelete), 3, 1);
        forms->addWidget(Button("Reload", "Reload", Code::kLoadSelected), 4, 1);

        auto* miscellaneousFrame = Frame(" Miscellaneous ");
        auto* miscellaneous = new QHBoxLayout(miscellaneousFrame);
        miscellaneous->addWidget(Button("errall", "Erase fields", Code::kErase));
        miscellaneous->addWidget(Button("anonym", "Anonymous", Code::kAnonymous));

        widgets_.connect = Button("Start", "Connect", Code::kConnect);
        widgets_.connect->setDefault(true);
        widgets_.connect->setMinimumHeight(34);

        grid->addWidget(widgets_.connectFrame, 0, 0);
        grid->addWidget(formsFrame, 0, 1, 2, 1);
        grid->addWidget(mirrorFrame, 1, 0);
        grid->addWidget(offsetFrame, 2, 0);
        grid->addWidget(extraFrame, 2, 1);
        grid->addWidget(commentFrame, 3, 0, 1, 2);
        grid->addWidget(miscellaneousFrame, 4, 0);
        grid->addWidget(widgets_.connect, 4, 1);
        grid->setColumnStretch(0, 1);
        grid->setColumnStretch(1, 1);
        grid->setRowStretch(3, 1);  // a taller window gives the comments the room
        OrderTabs({widgets_.host,
                   widgets_.login,
                   widgets_.password,
                   widgets_.mainServer,
                   widgets_.mirrorField,
                   mirrorFrame->findChild<QPushButton*>("Add"),
                   mirrorFrame->findChild<QPushButton*>("Del"),
                   widgets_.localDirectory,
                   widgets_.hostDirectory,
                   widgets_.forms,
                   formsFrame->findChild<QPushButton*>("Save"),
                   formsFrame->findChild<QPushButton*>("SaveAs"),
                   formsFrame->findChild<QPushButton*>("Rename"),
                   formsFrame->findChild<QPushButton*>("Delete"),
                   formsFrame->findChild<QPushButton*>("Reload"),
                   widgets_.port,
                   widgets_.security,
                   widgets_.passive,
                   widgets_.comments,
                   miscellaneousFrame->findChild<QPushButton*>("errall"),
                   miscellaneousFrame->findChild<QPushButton*>("anonym"),
                   widgets_.connect});
        return page;
    }

    QWidget* FirewallPage() {
        auto* page = new QWidget;
        auto* layout = new QVBoxLayout(page);
        auto* parametersFrame = Frame(" Firewall parameters ");
        auto* parameters = new QFormLayout(parametersFrame);
        widgets_.useFirewall = new QCheckBox(QObject::tr("Use Firewall"));
        widgets_.useFirewall->setObjectName("usefirewall");
        QObject::connect(widgets_.useFirewall, &QCheckBox::clicked, window_,
                         Sender(Code::kFirewallChecked));
        widgets_.firewallHost = Field("fserveur");
        widgets_.firewallLogin = Field("flogin");
        widgets_.firewallPassword = Field("fpassword");
        widgets_.firewallPassword->setEchoMode(QLineEdit::Password);
        widgets_.firewallPort = PortField("fport");
        parameters->addRow(widgets_.useFirewall);
        parameters->addRow(QObject::tr("Host name:"), widgets_.firewallHost);
        parameters->addRow(QObject::tr("User name:"), widgets_.firewallLogin);
        parameters->addRow(QObject::tr("Password:"), widgets_.firewallPassword);
        parameters->addRow(QObject::tr("Port:"), widgets_.firewallPort);
        auto* explanation = new QLabel(QObject::tr(
            "If a parameter (user name or password) is not required to send a command to the "
            "firewall, leave it blank."));
        explanation->setObjectName("Explication");
        explanation->setWordWrap(true);
        parameters->addRow(explanation);
        auto* commandFrame =
            Frame(" Firewall command (%h=FTPHost,%u=FTPUser,%p=FTPPass,%o=FTPPort,%%='%') ");
        auto* command = new QFormLayout(commandFrame);
        widgets_.firewallCommand = Field("firewallstring", "USER %u@%h:%o");
        command->addRow(QObject::tr("Command:"), widgets_.firewallCommand);
        layout->addWidget(parametersFrame);
        layout->addWidget(commandFrame);
        layout->addStretch();
        return page;
    }

    QWidget* DisplayPage() {
        auto* page = new QWidget;
        auto* layout = new QVBoxLayout(page);
        auto* fontFrame = Frame(" Font selection (for control window) ");
        auto* font = new QFormLayout(fontFrame);
        widgets_.fontField = new QPushButton(QObject::tr("No font selected"));
        widgets_.fontField->setObjectName("menufont");
        widgets_.fonts = new QMenu(QObject::tr("No font selected"), widgets_.fontField);
        widgets_.fontField->setMenu(widgets_.fonts);
        auto* group = new QActionGroup(widgets_.fonts);
        group->setExclusive(true);
        for (const QString& family : QFontDatabase::families()) {
            for (const QString& style : QFontDatabase::styles(family)) {
                QAction* item = widgets_.fonts->addAction(family + " / " + style);
                item->setCheckable(true);
                group->addAction(item);
                QPushButton* field = widgets_.fontField;
                QObject::connect(item, &QAction::triggered, window_,
                                 [field, item, send = Sender(Code::kFontChosen)] {
                                     field->setText(item->text());  // the field shows the choice
                                     send();
                                 });
            }
        }
        widgets_.fontSize = Field("FontSize", "11");
        font->addRow(QObject::tr("Font name:"), widgets_.fontField);
        font->addRow(QObject::tr("Font size:"), widgets_.fontSize);
        widgets_.preview = new LPBListView("listefich1", false);
        widgets_.preview->SetItems({{"Folder1", EntryStringItem::Directory, {}, 0},
                                    {"PlainFile1", EntryStringItem::File, {}, 0},
                                    {"Folder2", EntryStringItem::Directory, {}, 0},
                                    {"Link1", EntryStringItem::Link, {}, 0},
                                    {"PlainFile2", EntryStringItem::File, {}, 0}});
        font->addRow(widgets_.preview);
        layout->addWidget(fontFrame);
        layout->addStretch();
        return page;
    }

    QMainWindow* window_;
    MessageHandler* handler_;
    MessageHandler* application_;
    TalismanLayout::Widgets widgets_;
};

}  // namespace

TalismanLayout::Widgets TalismanLayout::Build(QMainWindow* window, MessageHandler* handler,
                                              MessageHandler* application) {
    return Builder(window, handler, application).Build();
}
