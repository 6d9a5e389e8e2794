void f() { popen("ls", "r"); }
