#pragma once

/// Posts a notification with a pitch to the default center, then opens a song that does not exist.
[[gnu::visibility("default")]] void postAndFail();
