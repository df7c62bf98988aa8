// A window that drags files, for the drop tests: xdotool cannot start an XDND drag itself.
// Usage: drag_source X Y PATH…  — a 120×120 window at (X, Y); pressing in it and moving drags
// the paths as text/uri-list (copy or move offered). Each finished drag prints its action.
#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <QWidget>

#include <cstdio>

namespace {

class DragSource : public QWidget {
public:
    explicit DragSource(QList<QUrl> urls) : urls(std::move(urls)) {}

protected:
    void mousePressEvent(QMouseEvent* event) override { pressed = event->button() == Qt::LeftButton; }

    void mouseMoveEvent(QMouseEvent*) override
    {
        if (!pressed)
            return;
        pressed = false;
        auto* data = new QMimeData;
        data->setUrls(urls);
        QDrag drag(this);
        drag.setMimeData(data);
        const Qt::DropAction action = drag.exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
        const char* name = action == Qt::MoveAction ? "move" : action == Qt::CopyAction ? "copy" : "none";
        std::printf("dropped %s\n", name);
        std::fflush(stdout);
    }

private:
    QList<QUrl> urls;
    bool pressed = false;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: drag_source X Y PATH...\n");
        return 2;
    }
    QList<QUrl> urls;
    for (qsizetype i = 3; i < args.size(); ++i)
        urls << QUrl::fromLocalFile(args[i]);
    DragSource window(urls);
    window.setGeometry(args[1].toInt(), args[2].toInt(), 120, 120);
    window.show();
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
