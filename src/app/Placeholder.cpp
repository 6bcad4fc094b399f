namespace app {
}
