# tolvaneThrowFromFault: where a fault's context is sent when it is to become a C++ exception.
#
# On entry the top of the stack is an address in the function that faulted, as if that function had called
# here, and ecx is the code of the fault. The stack pointer may have any value that was current at the fault:
# the frame remembers it in rbp, which the unwind codes name, before the stack is aligned for the call.

        .text
        .globl  tolvaneThrowFromFault
        .def    tolvaneThrowFromFault
        .scl    2
        .type   32
        .endef
        .seh_proc tolvaneThrowFromFault
tolvaneThrowFromFault:
        pushq   %rbp
        .seh_pushreg %rbp
        movq    %rsp, %rbp
        .seh_setframe %rbp, 0
        .seh_endprologue
        andq    $-16, %rsp
        subq    $32, %rsp               # the callee's home space
        call    tolvaneThrowStructuredException
        int3                            # not reached; keeps the return address inside this function
        .seh_endproc
