#pragma once
// Record numbers of the BIFF8 records the engine looks into [MS-XLS 2.3].

#include <cstdint>

namespace excel::biff::rt {

inline constexpr std::uint16_t Formula = 0x0006;
inline constexpr std::uint16_t Eof = 0x000A;
inline constexpr std::uint16_t ExternSheet = 0x0017;
inline constexpr std::uint16_t Name = 0x0018;
inline constexpr std::uint16_t FilePass = 0x002F;
inline constexpr std::uint16_t Continue = 0x003C;
inline constexpr std::uint16_t WriteProtect = 0x0086;
inline constexpr std::uint16_t FileSharing = 0x005B;
inline constexpr std::uint16_t Xct = 0x0059;
inline constexpr std::uint16_t Crn = 0x005A;
inline constexpr std::uint16_t Window1 = 0x003D;
inline constexpr std::uint16_t BoundSheet8 = 0x0085;
inline constexpr std::uint16_t WsBool = 0x0081;
inline constexpr std::uint16_t ObjProj = 0x00D3;
inline constexpr std::uint16_t Sst = 0x00FC;
inline constexpr std::uint16_t LabelSst = 0x00FD;
inline constexpr std::uint16_t ExtSst = 0x00FF;
inline constexpr std::uint16_t TabId = 0x013D;
inline constexpr std::uint16_t RrTabId = 0x0195;
inline constexpr std::uint16_t SupBook = 0x01AE;
inline constexpr std::uint16_t Dv = 0x01BE;
inline constexpr std::uint16_t Cf = 0x01B1;
inline constexpr std::uint16_t Index = 0x020B;
inline constexpr std::uint16_t Array = 0x0221;
inline constexpr std::uint16_t ExternName = 0x0023;
inline constexpr std::uint16_t Window2 = 0x023E;
inline constexpr std::uint16_t ShrFmla = 0x04BC;
inline constexpr std::uint16_t Bof = 0x0809;
inline constexpr std::uint16_t NameCmt = 0x0894;
inline constexpr std::uint16_t Brai = 0x1051;
inline constexpr std::uint16_t Obj = 0x005D;
inline constexpr std::uint16_t Number = 0x0203;
inline constexpr std::uint16_t Rk = 0x027E;
inline constexpr std::uint16_t MulRk = 0x00BD;
inline constexpr std::uint16_t BoolErr = 0x0205;
inline constexpr std::uint16_t Label = 0x0204;
inline constexpr std::uint16_t String = 0x0207;
inline constexpr std::uint16_t RString = 0x00D6;
inline constexpr std::uint16_t MergedCells = 0x00E5;
inline constexpr std::uint16_t Note = 0x001C;

// BOF records of the older versions, which start their streams.
inline constexpr std::uint16_t Bof2 = 0x0009;
inline constexpr std::uint16_t Bof3 = 0x0209;
inline constexpr std::uint16_t Bof4 = 0x0409;

}  // namespace excel::biff::rt
