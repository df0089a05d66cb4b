// The configuration manager's client: a thread serving the stream socket qcf/<name> under the run
// directory, where debug clients (ofactl) send requests.
//
// Frame, both ways: u32 big-endian length of the rest, u32 code, text (no NUL needed). A length of
// 4 to 4096 is a request; the reply carries the request's code. The client thread touches no agent
// data: it posts each whole request to the main thread by a 4-byte datagram on an internal socket
// (the comm channel, which the main loop reads as a low-priority fd), the main thread runs the
// code's handler, and the reply goes back on the request's connection. One request per connection
// is with the main thread at a time; further frames wait in the socket.
//
// A length over 4096 or under 4 (no room for the code), a code without a handler, a frame cut by
// the client's close: that connection is closed and the main thread is told why (the fault
// function); other connections go on. At most 16 clients at once: a 17th is closed at once.
//
// A handler that answers QCF_FOLLOW makes its connection a follower after the reply: from then on
// each text of qcf_client_publish goes to it as a frame of the request's code. Publishing never
// blocks: a follower holds at most QCF_FOLLOW_QUEUE texts not yet sent and drops those past it;
// in their place it is sent "debug channel: <n> lines lost". A follower's further bytes are
// dropped; its close ends the following.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

inline constexpr uint32_t QCF_FRAME_MAX = 4096;  // most bytes after the length field
inline constexpr uint32_t QCF_MAX_CLIENTS = 16;
inline constexpr uint32_t QCF_FOLLOW_QUEUE = 1024;
inline constexpr int QCF_FOLLOW = 1;  // a handler's answer: the connection follows

// Runs on the main thread: `msg` is the code and the text (the text starts 4 bytes in); the reply
// text goes into *reply.
using qcf_msg_handler_fn = int (*)(std::span<const uint8_t> msg, std::string* reply);
// Runs on the main thread: why a connection was closed or refused.
using qcf_fault_fn = void (*)(const char* what);
// Runs on the client thread: hands request `token` to the main thread; 0 or -1.
using qcf_post_fn = int (*)(uint32_t token);

// This LP's partition id, asked with the agent's command line: its slot.
int ham_get_bpid(int argc, char** argv);

// The handler of a request code (null removes it); 0, or -1 when the table (8 codes) is full.
int add_client_message_handler(uint32_t code, qcf_msg_handler_fn fn);
void qcf_client_set_post_to_main_thread_function(qcf_post_fn fn);
void qcf_client_set_fault_function(qcf_fault_fn fn);

// Makes the comm channel; the main thread's end, to be served with dce_qcf_client_process when it
// is readable, or -1.
int dce_qcf_client_init_comm_channel();
// The post function over the comm channel.
int dce_qcf_client_post_msg(uint32_t token);
// Main thread: serves what the client thread has posted (requests, faults); never blocks.
void dce_qcf_client_process(int fd);

// Any thread: `text` to every follower, without blocking.
void qcf_client_publish(const char* text);
// Binds qcf/<name> and starts the client thread. 0; -1 without a comm channel, or when a live
// process holds the socket or it cannot be made.
int qcf_initialize_client(const char* name);
// Stops the client thread, closes every connection and the comm channel, removes the socket.
void qcf_client_shutdown();
