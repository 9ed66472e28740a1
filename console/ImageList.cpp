#include "console/ImageList.h"

#include <QtGlobal>

#include "console/shared/MonitorTree.h"

// The macro must stand outside of any namespace.
static void InitImages() {
  Q_INIT_RESOURCE(images);
}

namespace norvane::console {

namespace {
constexpr const char* Keys[] = {"Pop3Monitor",      "global",           "MonitorItem",
                                "WebMonitor",       "ServerMonitor",    "SmtpMonitor",
                                "Pop3Monitor_Stop", "SmtpMonitor_Stop", "WebMonitor_Stop"};
}

ImageList::ImageList() {
  for (const char* key : Keys)
    m_images.emplace(key, Drawing(key));
}

QIcon ImageList::Image(const std::string& key) const {
  constexpr std::string_view mark = shared::StopMark;
  const auto marked = key.find(mark);
  const auto found = m_images.find(marked == std::string::npos ? key : key.substr(0, marked + mark.size()));
  return found == m_images.end() ? QIcon() : found->second;
}

QIcon Drawing(const std::string& name) {
  InitImages();
  return QIcon(QStringLiteral(":/norvane/%1.svg").arg(QString::fromStdString(name)));
}

}  // namespace norvane::console
