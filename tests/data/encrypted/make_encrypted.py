#!/usr/bin/python3
"""Makes the encrypted workbooks of tests/data/encrypted/ from plain ones.

  /usr/bin/python3 make_encrypted.py [OUT_DIR]
  /usr/bin/python3 make_encrypted.py --fuzz-seeds ../../../fuzz/corpus/encrypted_copy

Needs Debian's python3-olefile, python3-cryptography and gir1.2-gsf-1 with
python3-gi (to write compound files). The encryptions are made here from
[MS-OFFCRYPTO] and [MS-XLS 2.2.10] (the packaged msoffcrypto-tool 5.0 only
decrypts); every file is checked afterwards by other readers: check.sh
decrypts each with msoffcrypto-tool and reads it with openpyxl or xlrd, and
has LibreOffice open the XOR one, which msoffcrypto-tool cannot read.

  agile.xlsx             Agile (AES-256, SHA-512), password "tamberlin"
  agile_default.xlsx     Agile with Excel's built-in password, VelvetSweatshop
  standard.xlsx          Standard (AES-128, SHA-1), password "tamberlin"
  xor.xls                XOR obfuscation, password "tamberlin"
  rc4.xls                RC4 (MD5), password "tamberlin", written by LibreOffice
                         (a copy of ../xls/made/encrypted.xls)
  rc4_default.xls        RC4 (MD5), VelvetSweatshop
  cryptoapi.xls          RC4 CryptoAPI, 128-bit, password "tamberlin"
  cryptoapi_default.xls  RC4 CryptoAPI, 128-bit, VelvetSweatshop
  cryptoapi40.xls        RC4 CryptoAPI, 40-bit, password "tamberlin" (LibreOffice
                         7.4 does not open 40-bit keys; msoffcrypto-tool does)
Sources: ../xlsx/format01.xlsx (Excel), ../xls/lo/format01.xls and
../xls/lo/comment04.xls (LibreOffice).
"""
import hashlib
import os
import shutil
import struct
import sys
import uuid

import gi
import olefile
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "..")
PASSWORD = "tamberlin"
DEFAULT = "VelvetSweatshop"
SALT = bytes(range(16))  # fixed, so that the fixtures are made the same each time


def rc4(key, data):
    s = list(range(256))
    j = 0
    for i in range(256):
        j = (j + s[i] + key[i % len(key)]) & 0xFF
        s[i], s[j] = s[j], s[i]
    out = bytearray()
    i = j = 0
    for b in data:
        i = (i + 1) & 0xFF
        j = (j + s[i]) & 0xFF
        s[i], s[j] = s[j], s[i]
        out.append(b ^ s[(s[i] + s[j]) & 0xFF])
    return bytes(out)


# ---- compound files ----------------------------------------------------------

def read_tree(ole, prefix=()):
    """[(path tuple, bytes or None for a storage)] in directory order."""
    out = []
    for entry in ole.listdir(streams=True, storages=True):
        out.append((tuple(entry), None if ole.get_type(entry) == olefile.STGTY_STORAGE else ole.openstream(entry).read()))
    return out


def write_compound(path, entries, clsid=None):
    sink = Gsf.OutputStdio.new(path)
    root = Gsf.OutfileMSOle.new(sink)
    if clsid:
        root.set_class_id(list(uuid.UUID(clsid).bytes_le))
    dirs = {(): root}
    for name, data in sorted(entries, key=lambda e: (len(e[0]), e[0])):
        parent = dirs[name[:-1]]
        child = parent.new_child(name[-1], data is None)
        if data is None:
            dirs[name] = child
        else:
            child.write(data)
            child.close()
    for name in sorted(dirs, key=len, reverse=True):
        dirs[name].close()
    if not sink.get_property("is-closed"):
        sink.close()


# ---- BIFF records --------------------------------------------------------------

def records(stream):
    pos = 0
    while pos + 4 <= len(stream):
        rt, n = struct.unpack_from("<HH", stream, pos)
        yield pos, rt, n
        pos += 4 + n


IN_CLEAR = {0x0809, 0x002F, 0x0194, 0x0195, 0x00E1, 0x0196, 0x0138}


def with_filepass(stream, filepass):
    """The stream with FILEPASS after the first BOF and the offsets after it moved on."""
    first = 4 + struct.unpack_from("<H", stream, 2)[0]
    shift = 4 + len(filepass)
    s = bytearray(stream[:first] + struct.pack("<HH", 0x002F, len(filepass)) + filepass + stream[first:])

    def fix(at):
        v = struct.unpack_from("<I", s, at)[0]
        if v >= first:
            struct.pack_into("<I", s, at, v + shift)
    for pos, rt, n in list(records(bytes(s))):
        body = pos + 4
        if rt == 0x0085:
            fix(body)
        elif rt == 0x020B and n >= 16:
            for i in range(12, n - 3, 4):
                fix(body + i)
        elif rt == 0x00FF:
            for i in range(2, n - 3, 8):
                fix(body + i)
    return s, first + shift


def encrypt_records(s, start, transform):
    """transform(bytearray, at, n, record_data_start, record_size) encrypts s[at:at+n] in place."""
    for pos, rt, n in list(records(bytes(s))):
        if pos < start or rt in IN_CLEAR:
            continue
        skip = min(4, n) if rt == 0x0085 else 0
        transform(s, pos + 4 + skip, n - skip, pos + 4, n)


def rc4_by_block(block_key):
    def transform(s, at, n, _data, _size):
        while n > 0:
            block, off = divmod(at, 1024)
            k = min(n, 1024 - off)
            stream = rc4(block_key(block), bytes(off) + bytes(s[at:at + k]))[off:]
            s[at:at + k] = stream
            at += k
            n -= k
    return transform


# RC4 CryptoAPI [MS-OFFCRYPTO 2.3.5]
def cryptoapi_filepass(password, key_bits):
    h0 = hashlib.sha1(SALT + password.encode("utf-16-le")).digest()

    def block_key(block):
        k = hashlib.sha1(h0 + struct.pack("<I", block)).digest()[:key_bits // 8]
        return k + bytes(16 - len(k)) if key_bits == 40 else k
    verifier = bytes(range(100, 116))
    enc = rc4(block_key(0), verifier + hashlib.sha1(verifier).digest())
    csp = "Microsoft Enhanced Cryptographic Provider v1.0\0".encode("utf-16-le")
    header = struct.pack("<IIIIIIII", 0x04, 0, 0x6801, 0x8004, key_bits, 1, 0, 0) + csp
    body = struct.pack("<HHHII", 1, 4, 2, 0x04, len(header)) + header
    body += struct.pack("<I", 16) + SALT + enc[:16] + struct.pack("<I", 20) + enc[16:]
    return body, block_key


# RC4 [MS-OFFCRYPTO 2.3.6]
def rc4_filepass(password):
    h0 = hashlib.md5(password.encode("utf-16-le")).digest()
    h1 = hashlib.md5((h0[:5] + SALT) * 16).digest()[:5]

    def block_key(block):
        return hashlib.md5(h1 + struct.pack("<I", block)).digest()
    verifier = bytes(range(50, 66))
    enc = rc4(block_key(0), verifier + hashlib.md5(verifier).digest())
    return struct.pack("<HHH", 1, 1, 1) + SALT + enc, block_key


# XOR obfuscation, method 1 [MS-OFFCRYPTO 2.3.7]
PAD = [0xBB, 0xFF, 0xFF, 0xBA, 0xFF, 0xFF, 0xB9, 0x80, 0x00, 0xBE, 0x0F, 0x00, 0xBF, 0x0F, 0x00]
INITIAL = [0xE1F0, 0x1D0F, 0xCC9C, 0x84C0, 0x110C, 0x0E10, 0xF1CE, 0x313E, 0x1872, 0xE139, 0xD40F, 0x84F9,
           0x280C, 0xA96A, 0x4EC3]
MATRIX = [0xAEFC, 0x4DD9, 0x9BB2, 0x2745, 0x4E8A, 0x9D14, 0x2A09, 0x7B61, 0xF6C2, 0xFDA5, 0xEB6B, 0xC6F7, 0x9DCF,
          0x2BBF, 0x4563, 0x8AC6, 0x05AD, 0x0B5A, 0x16B4, 0x2D68, 0x5AD0, 0x0375, 0x06EA, 0x0DD4, 0x1BA8, 0x3750,
          0x6EA0, 0xDD40, 0xD849, 0xA0B3, 0x5147, 0xA28E, 0x553D, 0xAA7A, 0x44D5, 0x6F45, 0xDE8A, 0xAD35, 0x4A4B,
          0x9496, 0x390D, 0x721A, 0xEB23, 0xC667, 0x9CEF, 0x29FF, 0x53FE, 0xA7FC, 0x5FD9, 0x47D3, 0x8FA6, 0x0F6D,
          0x1EDA, 0x3DB4, 0x7B68, 0xF6D0, 0xB861, 0x60E3, 0xC1C6, 0x93AD, 0x377B, 0x6EF6, 0xDDEC, 0x45A0, 0x8B40,
          0x06A1, 0x0D42, 0x1A84, 0x3508, 0x6A10, 0xAA51, 0x4483, 0x8906, 0x022D, 0x045A, 0x08B4, 0x1168, 0x76B4,
          0xED68, 0xCAF1, 0x85C3, 0x1BA7, 0x374E, 0x6E9C, 0x3730, 0x6E60, 0xDCC0, 0xA9A1, 0x4363, 0x86C6, 0x1DAD,
          0x3331, 0x6662, 0xCCC4, 0x89A9, 0x0373, 0x06E6, 0x0DCC, 0x1021, 0x2042, 0x4084, 0x8108, 0x1231, 0x2462,
          0x48C4]


def xor_filepass(password):
    p = password.encode("latin-1")
    key = INITIAL[len(p) - 1]
    element = 0x68
    for c in reversed(p):
        for _ in range(7):
            if c & 0x40:
                key ^= MATRIX[element]
            c = (c << 1) & 0xFF
            element -= 1
    verifier = 0
    for b in list(reversed(p)) + [len(p)]:
        verifier = ((((verifier << 1) & 0x7FFF) | (1 if verifier & 0x4000 else 0)) ^ b)
    verifier ^= 0xCE4B
    plain = list(p) + PAD[:16 - len(p)]
    array = []
    for i, b in enumerate(plain):
        v = b ^ (key & 0xFF if i % 2 == 0 else key >> 8)
        array.append(((v >> 1) | (v << 7)) & 0xFF)

    def transform(s, at, n, data, size):
        index = (data + size + (at - data)) % 16
        for i in range(at, at + n):
            v = ((s[i] << 5) | (s[i] >> 3)) & 0xFF  # rotate left 5
            s[i] = v ^ array[index]
            index = (index + 1) % 16
    return struct.pack("<HHH", 0, key, verifier), transform


def encrypt_xls(src, dst, filepass, transform):
    ole = olefile.OleFileIO(src)
    entries = read_tree(ole)
    out = []
    for name, data in entries:
        if name == ("Workbook",):
            s, start = with_filepass(data, filepass)
            encrypt_records(s, start, transform)
            data = bytes(s)
        out.append((name, data))
    write_compound(dst, out, ole.root.clsid)


# ECMA-376 Standard encryption [MS-OFFCRYPTO 2.3.4.5-2.3.4.9]
def standard_xlsx(src, dst, password):
    h = hashlib.sha1(SALT + password.encode("utf-16-le")).digest()
    for i in range(50000):
        h = hashlib.sha1(struct.pack("<I", i) + h).digest()
    h = hashlib.sha1(h + struct.pack("<I", 0)).digest()
    x1 = hashlib.sha1(bytes(b ^ 0x36 for b in h.ljust(64, b"\0"))[:20] + bytes([0x36] * 44)).digest()
    key = x1[:16]
    aes = lambda: Cipher(algorithms.AES(key), modes.ECB()).encryptor()  # noqa: E731
    verifier = bytes(range(200, 216))
    vhash = hashlib.sha1(verifier).digest().ljust(32, b"\0")
    csp = "Microsoft Enhanced RSA and AES Cryptographic Provider\0".encode("utf-16-le")
    header = struct.pack("<IIIIIIII", 0x24, 0, 0x660E, 0x8004, 128, 0x18, 0, 0) + csp
    info = struct.pack("<HHII", 4, 2, 0x24, len(header)) + header
    info += struct.pack("<I", 16) + SALT + aes().update(verifier) + struct.pack("<I", 20) + aes().update(vhash)
    package = open(src, "rb").read()
    padded = package + bytes(-len(package) % 16)
    body = struct.pack("<Q", len(package)) + aes().update(padded)
    write_compound(dst, [(("EncryptionInfo",), info), (("EncryptedPackage",), body)])


# ECMA-376 Agile encryption [MS-OFFCRYPTO 2.3.4.10-2.3.4.15], as Excel 2010 and later write it
def agile_xlsx(src, dst, password, spin=100000):
    import base64
    import hmac
    sha = lambda *parts: hashlib.sha512(b"".join(parts)).digest()  # noqa: E731
    cbc = lambda key, iv, data: Cipher(algorithms.AES(key), modes.CBC(iv[:16])).encryptor().update(  # noqa: E731
        data + bytes(-len(data) % 16))
    b64 = lambda b: base64.b64encode(b).decode()  # noqa: E731
    key_salt, pw_salt = bytes(range(16, 32)), bytes(range(32, 48))
    secret = bytes(range(64, 96))
    h = sha(pw_salt, password.encode("utf-16-le"))
    for i in range(spin):
        h = sha(struct.pack("<I", i), h)
    block = lambda b: sha(h, bytes.fromhex(b))[:32]  # noqa: E731
    verifier = bytes(range(120, 136))
    package = open(src, "rb").read()
    body = struct.pack("<Q", len(package))
    for i in range(0, len(package), 4096):
        body += cbc(secret, sha(key_salt, struct.pack("<I", i // 4096)), package[i:i + 4096])
    hmac_key = bytes(range(140, 204))
    hmac_value = hmac.new(hmac_key, body, hashlib.sha512).digest()
    params = ('saltSize="16" blockSize="16" keyBits="256" hashSize="64" cipherAlgorithm="AES" '
              'cipherChaining="ChainingModeCBC" hashAlgorithm="SHA512"')
    xml = ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
           '<encryption xmlns="http://schemas.microsoft.com/office/2006/encryption" '
           'xmlns:p="http://schemas.microsoft.com/office/2006/keyEncryptor/password">'
           '<keyData %s saltValue="%s"/>' % (params, b64(key_salt)) +
           '<dataIntegrity encryptedHmacKey="%s" encryptedHmacValue="%s"/>' % (
               b64(cbc(secret, sha(key_salt, bytes.fromhex("5fb2ad010cb9e1f6")), hmac_key)),
               b64(cbc(secret, sha(key_salt, bytes.fromhex("a0677f02b22c8433")), hmac_value))) +
           '<keyEncryptors><keyEncryptor uri="http://schemas.microsoft.com/office/2006/keyEncryptor/password">'
           '<p:encryptedKey spinCount="%d" %s saltValue="%s" encryptedVerifierHashInput="%s" '
           'encryptedVerifierHashValue="%s" encryptedKeyValue="%s"/></keyEncryptor></keyEncryptors></encryption>' % (
               spin, params, b64(pw_salt), b64(cbc(block("fea7d2763b4b9e79"), pw_salt, verifier)),
               b64(cbc(block("d7aa0f6d3061344e"), pw_salt, sha(verifier))),
               b64(cbc(block("146e0be7abacd0d6"), pw_salt, secret))))
    info = struct.pack("<HHI", 4, 4, 0x40) + xml.encode()
    write_compound(dst, [(("EncryptionInfo",), info), (("EncryptedPackage",), body)])


def main(out):
    os.makedirs(out, exist_ok=True)
    xlsx = os.path.join(DATA, "xlsx", "format01.xlsx")
    agile_xlsx(xlsx, os.path.join(out, "agile.xlsx"), PASSWORD)
    agile_xlsx(xlsx, os.path.join(out, "agile_default.xlsx"), DEFAULT)
    standard_xlsx(xlsx, os.path.join(out, "standard.xlsx"), PASSWORD)
    xls = os.path.join(DATA, "xls", "lo", "format01.xls")
    comments = os.path.join(DATA, "xls", "lo", "comment04.xls")
    fp, tr = xor_filepass(PASSWORD)
    encrypt_xls(xls, os.path.join(out, "xor.xls"), fp, tr)
    fp, key = cryptoapi_filepass(PASSWORD, 128)
    encrypt_xls(comments, os.path.join(out, "cryptoapi.xls"), fp, rc4_by_block(key))
    fp, key = cryptoapi_filepass(DEFAULT, 128)
    encrypt_xls(xls, os.path.join(out, "cryptoapi_default.xls"), fp, rc4_by_block(key))
    fp, key = cryptoapi_filepass(PASSWORD, 40)
    encrypt_xls(xls, os.path.join(out, "cryptoapi40.xls"), fp, rc4_by_block(key))
    fp, key = rc4_filepass(DEFAULT)
    encrypt_xls(comments, os.path.join(out, "rc4_default.xls"), fp, rc4_by_block(key))
    shutil.copy(os.path.join(DATA, "xls", "made", "encrypted.xls"), os.path.join(out, "rc4.xls"))


def fuzz_seeds(out):
    """Seeds of the encrypted_copy fuzzer: the fixtures, an Agile one with a
    spin count of 1 so that each run is quick, and the bare XOR .xls."""
    os.makedirs(out, exist_ok=True)
    for f in os.listdir(HERE):
        if f.endswith((".xls", ".xlsx")) and not f.startswith("agile"):
            shutil.copy(os.path.join(HERE, f), os.path.join(out, f))
    agile_xlsx(os.path.join(DATA, "xlsx", "format01.xlsx"), os.path.join(out, "agile_spin1.xlsx"), PASSWORD, 1)


if __name__ == "__main__":
    if sys.argv[1:2] == ["--fuzz-seeds"]:
        fuzz_seeds(sys.argv[2])
        sys.exit(0)
    main(sys.argv[1] if len(sys.argv) > 1 else HERE)
