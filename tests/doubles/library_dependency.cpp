// What a library needs that lies beside it and nowhere else.
extern "C" __declspec(dllexport) int capture_dependency_answer();

int capture_dependency_answer() { return 42; }
