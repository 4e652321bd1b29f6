// A program with one window, as users have them: the tests and the pictures start it on real screens. Orders
// come on standard input, one a line, and each is answered by a line on standard output when it is done:
//
//     form_program SETTINGS.ini
//     show                     -> shown X Y WIDTH HEIGHT STATE SCREEN
//     where                    -> the same, as it is by now
//     move X Y | resize W H | maximize | minimize | normal | fill | arrange      -> the same
//     text NAME VALUE          -> text VALUE
//     picture FILE.png         -> picture
//     close                    -> closed
//     quit                     (or the end of the input)
//
// A place is that of the frame's corner; a state is normal, minimized or maximized. An order that waits for
// the window system gives up after ten seconds and answers "timeout".

#include "controls/QtFormStorage.h"

#include <QApplication>
#include <QBoxLayout>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QScreen>
#include <QSplitter>
#include <QTableWidget>
#include <QWindow>

#include <functional>
#include <iostream>
#include <sstream>
#include <string>

namespace {

constexpr int Limit = 10'000; // milliseconds

class TOrderForm final : public QMainWindow {
public:
    explicit TOrderForm(const QString& File) {
        setObjectName("OrderForm");
        setWindowTitle("Orders");
        auto* const Left = new QWidget;
        auto* const Layout = new QVBoxLayout(Left);
        for (QLineEdit* const Each : {Customer, City}) Layout->addWidget(Each);
        Layout->addWidget(Notes);
        Splitter->addWidget(Left);
        Splitter->addWidget(Grid);
        setCentralWidget(Splitter);
        Grid->setHorizontalHeaderLabels({"Number", "Goods", "Price"});
        Grid->horizontalHeader()->setSectionsMovable(true);
        Customer->setObjectName("Customer");
        City->setObjectName("City");
        Notes->setObjectName("Notes");
        Splitter->setObjectName("Splitter");
        Grid->setObjectName("Grid");
        resize(520, 320);
        auto* const Storage = new zutools::TQtFormStorage(
            this, {"Customer.text", "City.text", "Notes.Lines", "Splitter.Sizes", "Grid.ColumnSections"});
        Storage->setIniFileName(File);
    }
    QLineEdit* Customer = new QLineEdit;
    QLineEdit* City = new QLineEdit;
    QPlainTextEdit* Notes = new QPlainTextEdit;
    QSplitter* Splitter = new QSplitter;
    QTableWidget* Grid = new QTableWidget(6, 3);
};

// Lets events come in until it is so, and then until none waits.
bool Await(const std::function<bool()>& IsSo) {
    QElapsedTimer Timer;
    Timer.start();
    while (!IsSo()) {
        if (Timer.elapsed() > Limit) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 50);
    }
    QCoreApplication::processEvents();
    return true;
}

const char* StateOf(const QWidget& Form) {
    return Form.isMinimized() ? "minimized" : Form.isMaximized() ? "maximized" : "normal";
}

std::string Place(const QWidget& Form) {
    std::ostringstream Line;
    Line << "shown " << Form.pos().x() << ' ' << Form.pos().y() << ' ' << Form.width() << ' ' << Form.height()
         << ' ' << StateOf(Form) << ' ' << Form.screen()->name().toStdString();
    return Line.str();
}

// The orders that the window system has a say in: done when the window is as asked for.
bool Arranged(TOrderForm& Form, const std::string& Order, std::istream& Words) {
    int X = 0, Y = 0;
    if (Order == "show") {
        Form.show();
        // The place is told of the frame's corner: a window manager's frame comes after the window.
        const bool Framed = QGuiApplication::platformName() == "xcb";
        return Await([&] {
            // A widget that is asked for its frame too early goes on with none.
            const bool HasFrame = !Framed || !Form.windowHandle()->frameMargins().isNull();
            return (Form.windowHandle()->isExposed() && HasFrame) || Form.isMinimized();
        });
    }
    if (Order == "move" && Words >> X >> Y) {
        Form.move(X, Y);
        return Await([&] { return Form.pos() == QPoint(X, Y); });
    }
    if (Order == "resize" && Words >> X >> Y) {
        Form.resize(X, Y);
        return Await([&] { return Form.size() == QSize(X, Y); });
    }
    const QSize Before = Form.size();
    if (Order == "maximize") {
        Form.showMaximized();
        return Await([&] { return Form.isMaximized() && Form.size() != Before; });
    }
    if (Order == "minimize") {
        Form.showMinimized();
        return Await([&] { return Form.isMinimized(); });
    }
    if (Order == "normal") {
        const bool WasLarge = Form.isMaximized();
        Form.showNormal();
        return Await([&] {
            if (Form.isMinimized())
                Form.showNormal(); // a window manager that was late has minimized it again
            return Form.windowHandle()->isExposed() && StateOf(Form) == std::string("normal") &&
                   (!WasLarge || Form.size() != Before);
        });
    }
    if (Order == "fill") {
        const char* const Goods[] = {"Paper", "Ink", "Envelopes", "Pencils", "Lamp", "Chair"};
        for (int Row = 0; Row < 6; ++Row) {
            Form.Grid->setItem(Row, 0, new QTableWidgetItem(QString::number(1001 + Row)));
            Form.Grid->setItem(Row, 1, new QTableWidgetItem(Goods[Row]));
            Form.Grid->setItem(Row, 2, new QTableWidgetItem(QString::number(12.5 * (Row + 1), 'f', 2)));
        }
        return true;
    }
    if (Order == "arrange") { // what a person would drag
        Form.Splitter->setSizes({170, 430});
        Form.Grid->horizontalHeader()->moveSection(1, 0);
        Form.Grid->setColumnWidth(1, 170);
        return true;
    }
    return false;
}

std::string Answer(TOrderForm& Form, const std::string& Line) {
    std::istringstream Words(Line);
    std::string Order, Argument;
    Words >> Order;
    if (Order == "text") {
        Words >> Argument >> std::ws;
        std::string Value;
        std::getline(Words, Value);
        auto* const Edit = Form.findChild<QLineEdit*>(QString::fromStdString(Argument));
        if (!Value.empty()) Edit->setText(QString::fromStdString(Value));
        return "text " + Edit->text().toStdString();
    }
    if (Order == "picture") {
        Words >> Argument;
        // The whole screen, so that the frame and the place are seen too; not the blinking of the cursor.
        Form.setFocus();
        static_cast<void>(Await([&] { return Form.isActiveWindow(); }));
        Form.repaint();
        const QPixmap Picture = Form.screen()->grabWindow(0);
        return Picture.save(QString::fromStdString(Argument)) ? "picture" : "no picture";
    }
    if (Order == "close") {
        Form.close();
        return Form.isVisible() ? "open" : "closed";
    }
    if (Order == "where") {
        QCoreApplication::processEvents();
        return Place(Form);
    }
    return Arranged(Form, Order, Words) ? Place(Form) : "timeout";
}

} // namespace

int main(int argc, char** argv) {
    QApplication::setStyle("Fusion");
    const QApplication Application(argc, argv);
    if (argc != 2) {
        std::cerr << "form_program: one argument, the settings file\n";
        return 2;
    }
    QApplication::setQuitOnLastWindowClosed(false);
    TOrderForm Form(QString::fromLocal8Bit(argv[1]));
    for (std::string Line; std::getline(std::cin, Line) && Line != "quit";)
        std::cout << Answer(Form, Line) << std::endl;
    return 0;
}
