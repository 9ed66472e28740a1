#include "engine/notify/RetryPause.h"

#include <algorithm>

namespace norvane::engine {

Moment::duration RetryPause::After(int failures, std::chrono::seconds first, std::chrono::seconds longest) {
  std::chrono::duration<double> pause = first;
  for (int i = 1; i < failures && pause < longest; ++i)
    pause *= 2;
  pause = std::min<std::chrono::duration<double>>(pause, longest);
  return std::chrono::duration_cast<Moment::duration>(pause *
                                                      std::uniform_real_distribution<>(0.8, 1.2)(m_random));
}

}  // namespace norvane::engine
