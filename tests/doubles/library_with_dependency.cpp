// A library that can only be loaded when the one that it needs is found.
extern "C" __declspec(dllimport) int capture_dependency_answer();
extern "C" __declspec(dllexport) int answer_of_dependency();

int answer_of_dependency() { return capture_dependency_answer(); }
