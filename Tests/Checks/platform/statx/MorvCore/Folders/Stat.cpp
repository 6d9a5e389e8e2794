int f() { return statx(0, "", 0, 0, nullptr); }
