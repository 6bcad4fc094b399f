namespace ui {
}
