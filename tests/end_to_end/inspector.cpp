// A plugin that the unchanged program loads when it is told to: it answers where its controls are and what they show.
// It only looks; what is done to the program is done with mouse and keyboard.

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QGenericPlugin>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QTableView>

using namespace Qt::StringLiterals;

namespace {

QJsonArray rectangle(const QRect& rect)
{
    const qreal ratio = qGuiApp->devicePixelRatio(); // mouse and screen count real pixels
    QJsonArray pixels;
    for (const int length : {rect.x(), rect.y(), rect.width(), rect.height()})
        pixels.append(qRound(length * ratio));
    return pixels;
}

QRect globalRect(const QWidget* widget, const QRect& rect)
{
    return {widget->mapToGlobal(rect.topLeft()), rect.size()};
}

QString textOf(const QWidget* widget)
{
    const QVariant text = widget->property("text"); // of labels, fields and buttons
    return (text.isValid() ? text : widget->property("plainText")).toString();
}

QJsonObject describeCell(const QTableView* table, const QModelIndex& index)
{
    QJsonObject cell{{u"text"_s, index.data().toString()},
                     {u"rect"_s, rectangle(globalRect(table->viewport(), table->visualRect(index)))}};
    if (const QVariant state = index.data(Qt::CheckStateRole); state.isValid())
        cell.insert(u"checked"_s, state.toInt());
    return cell;
}

QJsonObject describeTable(const QTableView* table)
{
    const QAbstractItemModel* model = table->model();
    QJsonArray rows;
    QJsonArray selectedRows;
    for (int row = 0; row < model->rowCount(); ++row) {
        QJsonArray cells;
        for (int column = 0; column < model->columnCount(); ++column)
            cells.append(describeCell(table, model->index(row, column)));
        rows.append(cells);
        if (table->selectionModel()->isRowSelected(row))
            selectedRows.append(row);
    }
    return {{u"rows"_s, rows}, {u"selectedRows"_s, selectedRows}};
}

QJsonArray describeItems(const QWidget* widget)
{
    QJsonArray items;
    for (QAction* action : widget->actions()) {
        QRect rect;
        if (const auto* bar = qobject_cast<const QMenuBar*>(widget))
            rect = globalRect(bar, bar->actionGeometry(action));
        else if (const auto* menu = qobject_cast<const QMenu*>(widget))
            rect = globalRect(menu, menu->actionGeometry(action));
        items.append(QJsonObject{{u"name"_s, action->objectName()},
                                 {u"text"_s, action->text()},
                                 {u"enabled"_s, action->isEnabled()},
                                 {u"rect"_s, rectangle(rect)}});
    }
    return items;
}

QJsonObject describeWidget(const QWidget* widget)
{
    QJsonObject description{{u"name"_s, widget->objectName()},
                            {u"class"_s, QString::fromLatin1(widget->metaObject()->className())},
                            {u"rect"_s, rectangle(globalRect(widget, widget->rect()))},
                            {u"text"_s, textOf(widget)},
                            {u"enabled"_s, widget->isEnabled()},
                            {u"focus"_s, widget->hasFocus()}};
    if (const auto* box = qobject_cast<const QCheckBox*>(widget))
        description.insert(u"checked"_s, box->checkState());
    else if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
        description.insert(u"checked"_s, button->isChecked());
    if (const auto* table = qobject_cast<const QTableView*>(widget))
        description.insert(u"table"_s, describeTable(table));
    if (!widget->actions().isEmpty())
        description.insert(u"items"_s, describeItems(widget));
    return description;
}

QJsonObject describeWindow(const QWidget* window, const QString& name)
{
    const auto* alert = qobject_cast<const QMessageBox*>(window);
    QJsonArray widgets{describeWidget(window)};
    for (const QWidget* widget : window->findChildren<QWidget*>(alert || name.isEmpty() ? QString() : name)) {
        if (widget->isVisible() && widget->window() == window)
            widgets.append(describeWidget(widget));
    }
    QJsonObject description{{u"title"_s, window->windowTitle()},
                            {u"id"_s, static_cast<qint64>(window->winId())},
                            {u"active"_s, window->isActiveWindow()},
                            {u"frame"_s, rectangle(window->frameGeometry())},
                            {u"widgets"_s, widgets}};
    if (alert) {
        description.insert(u"alert"_s, alert->text());
        description.insert(u"detail"_s, alert->informativeText());
    }
    return description;
}

QByteArray describeWindows(const QString& name)
{
    QJsonArray windows;
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible())
            windows.append(describeWindow(window, name));
    }
    return QJsonDocument(windows).toJson(QJsonDocument::Compact) + '\n';
}

/// Answers every line that it is sent with one line that describes all open windows: alerts whole, of the others the
/// controls of the name that the line is, or all when it is empty.
class Inspector final : public QLocalServer
{
public:
    explicit Inspector(const QString& socketPath)
    {
        connect(this, &QLocalServer::newConnection, this, [this] {
            QLocalSocket* client = nextPendingConnection();
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, client, [client] {
                while (client->canReadLine())
                    client->write(describeWindows(QString::fromUtf8(client->readLine().trimmed())));
            });
        });
        listen(socketPath);
    }
};

} // namespace

class InspectorPlugin final : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "inspector.json")
public:
    /// `socketPath` is where questions are answered.
    QObject* create(const QString&, const QString& socketPath) override { return new Inspector(socketPath); }
};

#include "inspector.moc"
