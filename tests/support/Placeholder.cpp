namespace support {
}
