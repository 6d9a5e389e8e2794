int f(int d) { return fcntl(d, F_SETLEASE, 0); }
