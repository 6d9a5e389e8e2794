#include <QTreeWidget>
