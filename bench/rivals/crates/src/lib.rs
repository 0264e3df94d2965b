//! encoding_rs with a C interface, as bench/rivals/encoding_rs.h declares it.
#![allow(non_snake_case)] // names as C has them

use encoding_rs::{mem, Encoding};
use std::slice::{from_raw_parts, from_raw_parts_mut};

/// The encoding by its label, or null.
///
/// # Safety
/// `label` points to `length` bytes.
#[no_mangle]
pub unsafe extern "C" fn rivalEncoding(label: *const u8, length: usize) -> *const Encoding {
    Encoding::for_label(from_raw_parts(label, length)).map_or(std::ptr::null(), |encoding| encoding as *const _)
}

/// # Safety
/// `input` points to `length` bytes, `output` to `room` bytes.
#[no_mangle]
pub unsafe extern "C" fn rivalDecodeToUtf8(
    encoding: &'static Encoding,
    input: *const u8,
    length: usize,
    output: *mut u8,
    room: usize,
) -> usize {
    let mut decoder = encoding.new_decoder_without_bom_handling();
    let (_, _, written, _) =
        decoder.decode_to_utf8(from_raw_parts(input, length), from_raw_parts_mut(output, room), true);
    written
}

/// # Safety
/// `input` points to `length` bytes, `output` to `room` units.
#[no_mangle]
pub unsafe extern "C" fn rivalDecodeToUtf16(
    encoding: &'static Encoding,
    input: *const u8,
    length: usize,
    output: *mut u16,
    room: usize,
) -> usize {
    let mut decoder = encoding.new_decoder_without_bom_handling();
    let (_, _, written, _) =
        decoder.decode_to_utf16(from_raw_parts(input, length), from_raw_parts_mut(output, room), true);
    written
}

/// # Safety
/// `input` points to `length` units, `output` to `room` bytes, three for each unit at least.
#[no_mangle]
pub unsafe extern "C" fn rivalUtf16ToUtf8(input: *const u16, length: usize, output: *mut u8, room: usize) -> usize {
    mem::convert_utf16_to_utf8(from_raw_parts(input, length), from_raw_parts_mut(output, room))
}

/// # Safety
/// `input` points to `length` bytes, `output` to `room` units, one more than bytes at least.
#[no_mangle]
pub unsafe extern "C" fn rivalUtf8ToUtf16(input: *const u8, length: usize, output: *mut u16, room: usize) -> usize {
    mem::convert_utf8_to_utf16(from_raw_parts(input, length), from_raw_parts_mut(output, room))
}

/// # Safety
/// `input` points to `length` bytes.
#[no_mangle]
pub unsafe extern "C" fn rivalUtf8ValidUpTo(input: *const u8, length: usize) -> usize {
    Encoding::utf8_valid_up_to(from_raw_parts(input, length))
}
