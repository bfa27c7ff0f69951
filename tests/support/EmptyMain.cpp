/// What a room is linked with to see that it needs nothing else.
int main() {
    return 0;
}
