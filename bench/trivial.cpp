// The cheapest possible static program: what any process start costs.
int main() { return 0; }
