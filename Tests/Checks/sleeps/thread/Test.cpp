void f() { std::this_thread::sleep_for(std::chrono::seconds(1)); }
