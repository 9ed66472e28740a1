#include "console/ImageList.h"

#include <QFile>

#include "console/FormTable.h"
#include "console/shared/MonitorTree.h"

// The macro works only outside of namespaces.
static void InitImages() {
  Q_INIT_RESOURCE(images);
}

namespace norvane::console {

namespace {
/// A type of monitor without a drawing of its own has the one of any monitor.
constexpr char AnyMonitor[] = "MonitorItem";

QString File(const std::string& name) {
  return QStringLiteral(":/norvane/%1.svg").arg(QString::fromStdString(name));
}
}  // namespace

ImageList::ImageList() {
  for (const char* key : {"global", AnyMonitor, "ServerMonitor"})
    m_images.emplace(key, Drawing(key));
  for (const auto& type : FormTable())
    for (const bool stopped : {false, true}) {
      const auto key = shared::TreeNode{.type = std::string(type.name), .stopped = stopped}.Image();
      m_images.emplace(key, Drawing(QFile::exists(File(key)) ? key : AnyMonitor));
    }
}

QIcon ImageList::Image(const std::string& key) const {
  const auto found = m_images.find(key);
  return found == m_images.end() ? QIcon() : found->second;
}

QIcon Drawing(const std::string& name) {
  InitImages();
  return QIcon(File(name));
}

}  // namespace norvane::console
