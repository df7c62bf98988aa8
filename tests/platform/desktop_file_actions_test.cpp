#include "platform/x11/desktop_file_actions.h"
#include "platform/x11/gobject_ptr.h"

#include <glib.h>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

// What GIO does with an Exec line read from a desktop entry: the key file's escapes, then the
// field codes ("%%" is a percent sign), then the shell's quoting rules.
QStringList startedArguments(const QString& execLine)
{
    const QByteArray text = "[Desktop Entry]\nExec=" + execLine.toUtf8() + "\n";
    std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> file(g_key_file_new(), &g_key_file_free);
    if (!g_key_file_load_from_data(file.get(), text.constData(), gsize(text.size()), G_KEY_FILE_NONE, nullptr))
        return {"<unreadable key file>"};
    const GCharPtr exec(g_key_file_get_string(file.get(), "Desktop Entry", "Exec", nullptr));
    const QString expanded = QString::fromUtf8(exec.get()).replace("%%", "%");
    g_auto(GStrv) argv = nullptr;
    if (!g_shell_parse_argv(expanded.toUtf8().constData(), nullptr, &argv, nullptr))
        return {"<unparsable: " + expanded + '>'};
    QStringList out;
    for (gchar** arg = argv; *arg; ++arg)
        out << QString::fromUtf8(*arg);
    return out;
}

TEST(DesktopEntryExec, CommandLinesSurviveTheTripThroughAnEntry)
{
    const QStringList rows[] = {
        {"/usr/bin/prog", "--flag", "plain"},
        {"/opt/My App/bin/app", "two words"},
        {"prog", "it's \"quoted\"", "100%", "$HOME", "`date`", "a\\b", "tab\there"},
        {"prog", "", "~/file", "a;b|c&d", "(x)", "#not a comment", "*.txt?"},
        {"prog", "ünïcødé", "line\nbreak"},
    };
    for (const QStringList& arguments : rows) {
        QStringList line;
        for (const QString& argument : arguments)
            line << DesktopFileActions::execArgument(argument);
        EXPECT_EQ(startedArguments(line.join(' ')), arguments) << line.join(' ').toStdString();
    }
}

} // namespace
