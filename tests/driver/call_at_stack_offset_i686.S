/* LRESULT QivmCallAtStackOffset(DriverProcFunction function, unsigned offset,
 *                               const LPARAM arguments[5]), cdecl, 32-bit Windows.
 *
 * Calls the stdcall function with the stack pointer `offset` bytes below a multiple of 16, counted
 * where the return address lies.
 */
        .intel_syntax noprefix
        .text
        .globl  _QivmCallAtStackOffset
        .def    _QivmCallAtStackOffset; .scl 2; .type 32; .endef
_QivmCallAtStackOffset:
        push    ebp
        mov     ebp, esp
        mov     eax, [ebp + 8]
        mov     ecx, [ebp + 12]
        mov     edx, [ebp + 16]
        sub     esp, 32
        and     esp, -16
        sub     esp, 8                  /* five arguments and the return address are 24 bytes */
        sub     esp, ecx
        push    DWORD PTR [edx + 16]
        push    DWORD PTR [edx + 12]
        push    DWORD PTR [edx + 8]
        push    DWORD PTR [edx + 4]
        push    DWORD PTR [edx]
        call    eax
        mov     esp, ebp
        pop     ebp
        ret
