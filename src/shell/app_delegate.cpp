#include "shell/app_delegate.h"

namespace wharf {

int AppDelegate::run(QApplication& app)
{
    return app.exec();
}

} // namespace wharf
