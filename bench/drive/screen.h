// Takes pictures of the screen. The X server knows what is really on it, so its own tool is asked.
#ifndef BENCH_DRIVE_SCREEN_H
#define BENCH_DRIVE_SCREEN_H

#include <string>

namespace drive {

// Writes the whole screen as a PNG file. `file` is a path of either kind ("Z:\shots\a.png",
// "/shots/a.png", "a.png"); its folder must exist. Needs ImageMagick's `import` on the host.
bool Screenshot(const std::wstring& file, std::wstring* error);

} // namespace drive

#endif
