/*
 * tolvane_faults_trampoline: the place where a thread goes on after a signal, see trampoline.h:
 * %rsp is on an InterruptedFrame.
 *
 * To the unwinder the interrupted function looks like the caller of this one. It is marked as a
 * signal frame: the interrupted address is then looked up as it stands and not as a return address,
 * so the rows of the very instruction that failed apply, be it the first of a function or of a try
 * block. Every register comes from the record, and the record may lie on another stack than the one
 * that it describes.
 */

#define DW_CFA_def_cfa_expression 0x0f
#define DW_CFA_expression         0x10
#define DW_OP_deref               0x06
#define DW_OP_breg_rsp            0x77

#define STACK_POINTER             7   /* InterruptedFrame::rsp */
#define ARGUMENT                  136 /* offset of InterruptedFrame::argument */
#define ACTION                    144 /* offset of InterruptedFrame::action */

/* The offset of a register's slot as a signed LEB128 number of two bytes. */
#define SLOT(number)              (((8 * (number)) & 0x7f) | 0x80), ((8 * (number)) >> 7)

    .text
    .globl tolvane_faults_trampoline
    .hidden tolvane_faults_trampoline
    .type tolvane_faults_trampoline, @function

tolvane_faults_trampoline:
    .cfi_startproc
    .cfi_signal_frame
    .cfi_escape DW_CFA_def_cfa_expression, 4, DW_OP_breg_rsp, SLOT(STACK_POINTER), DW_OP_deref
    .irp number, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16
    .cfi_escape DW_CFA_expression, \number, 3, DW_OP_breg_rsp, SLOT(\number)
    .endr

    movq ARGUMENT(%rsp), %rdi
    call *ACTION(%rsp)
    ud2
    .cfi_endproc
    .size tolvane_faults_trampoline, . - tolvane_faults_trampoline

/*
 * void tolvane_faults_leave(void* result), see trampoline.h. Its caller is undefined, so unwinding
 * ends here: pthread_exit unwinds no frame of the thread, and goes straight to the thread's end.
 */
    .globl tolvane_faults_leave
    .hidden tolvane_faults_leave
    .type tolvane_faults_leave, @function

tolvane_faults_leave:
    .cfi_startproc
    .cfi_undefined rip
    subq $8, %rsp
    .cfi_adjust_cfa_offset 8
    call pthread_exit@PLT
    ud2
    .cfi_endproc
    .size tolvane_faults_leave, . - tolvane_faults_leave

    .section .note.GNU-stack, "", @progbits
