# SPDX-License-Identifier: BSL-1.0

# Homebrew's formula. NOT RUN YET: nobody has tried it on a Mac. Until there is a release it builds the
# newest state, from the address that stands in `head`. Homebrew takes formulas out of taps:
#
#   brew tap-new lipc/local && cp packaging/macos/lipc.rb "$(brew --repository lipc/local)/Formula"
#   brew install --HEAD lipc/local/lipc
class Lipc < Formula
  desc "Sessions of a multi-process 3D-audio system: library, command, settings module"
  homepage "https://example.org/lipc"
  license all_of: ["BSL-1.0", "ISC", "GPL-3.0-only"] # the last two for JUCE, in the module alone
  head "https://example.org/lipc.git", branch: "main"

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on "nlohmann-json" => :build
  depends_on "pkgconf" => :build
  depends_on "scdoc" => :build
  depends_on arch: :x86_64
  depends_on "boost"
  depends_on "cpp-httplib"
  depends_on "fmt"
  uses_from_macos "ncurses"

  resource "juce" do
    url "https://github.com/juce-framework/JUCE.git", tag: "7.0.12"
  end

  def install
    resource("juce").stage buildpath/"juce"
    system "cmake", "-S", ".", "-B", "build/brew", "-G", "Ninja", *std_cmake_args,
           "-DLIPC_BUILD_SHARED=ON", "-DLIPC_BUILD_TESTS=OFF", "-DLIPC_BUILD_EXAMPLES=OFF",
           "-DLIPC_JUCE_MODULES=#{buildpath}/juce/modules"
    system "cmake", "--build", "build/brew"
    system "cmake", "--install", "build/brew"
  end

  test do
    # There is no session: status 5, with a sentence that says so.
    assert_match "no session", shell_output("#{bin}/lipc ls 2>&1", 5)
    (testpath/"participant.cpp").write <<~CPP
      #include "lipc/client/Client.h"
      int main() { return LIPC::cProtocolVersion == 5 ? 0 : 1; }
    CPP
    flags = shell_output("pkgconf --cflags --libs lipc").chomp.split
    system ENV.cxx, "-std=c++20", "participant.cpp", "-o", "participant", *flags
    system "./participant"
  end
end
