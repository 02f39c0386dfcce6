// The virtual kernel's system calls. Like a real kernel's they give a result or a negative errno;
// the interposer turns that into errno. Callers have made sure that the call is the virtual
// kernel's: PathTree::Covers for paths, the claims for descriptors and addresses.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>

#include <cstddef>
#include <string>
#include <vector>

namespace zosim::kernel {

// A video node, or a sysfs file or directory.
int Open(const std::string& path, int flags);
// What close does to the virtual kernel; the caller closes the descriptor itself afterwards, and
// not before, since its number is free for others from then on.
void Release(int fd);
int Ioctl(int fd, unsigned long request, void* argument);
// Stores the address on success.
int Map(void* address, size_t length, int protection, int flags, int fd, long offset,
        void** mapped);
int Unmap(void* address, size_t length);
// For sets with at least one virtual descriptor; the others are waited for as well. No timeout:
// null. Leaves errno to the caller like the rest.
int Poll(pollfd* fds, size_t count, const timespec* timeout, const sigset_t* mask);

int Stat(const std::string& path, bool followLast, struct stat* result);
int StatDescriptor(int fd, struct stat* result);
int Access(const std::string& path, int mode);
int ReadLink(const std::string& path, std::string* target);
int RealPath(const std::string& path, std::string* result);
int ListDirectory(const std::string& path, std::vector<std::string>* names);
// Names of the present video nodes, for a listing of /dev.
std::vector<std::string> VideoNodeNames();
// Path that an open sysfs directory was opened by; empty for other descriptors.
std::string DirectoryPath(int fd);

}  // namespace zosim::kernel
