"""Failed checks raise VskError with the library's report; bad arguments never crash."""

import struct
import threading

import numpy as np
import pytest

import vsk


def img(depth="8u", channels=3, order="pixel", w=8, h=6):
    return vsk.Image.new(w, h, depth, channels, order=order)


def refusing_tiled():
    t = vsk.Image.tiled(32, 16, (16, 16), "8u", 3)
    t.tiles.refuse = {(1, 0)}
    return t


def planes_2_dib():
    return struct.pack("<IiiHHIIiiII", 40, 2, 2, 2, 24, 0, 0, 0, 0, 0, 0) + bytes(16)


ALPHA_TYPES = " && ".join("compositeType != %d" % i for i in range(6))


@pytest.mark.parametrize("call, status, function, condition, file, line", [
    (lambda: vsk.copy(img(), out=img("16u")), -5, "vskCopy",
     "srcImage->depth != dstImage->depth", "vskSCE", 56),
    (lambda: vsk.add_s(img(), 1, out=img(order="plane")), -5, "vskAddS",
     "(srcImage->dataOrder != dstImage->dataOrder)", "vskadds", 894),
    (lambda: vsk.alpha_composite(img(channels=4), img(channels=4), 6), -5,
     "vskAlphaComposite", ALPHA_TYPES, "vskalpha", 1181),
    (lambda: vsk.set(img()[2:2, :]), -5, "vskSet", "ROI size is invalid".ljust(70) + "\n",
     "vskSCE", 479),
    (lambda: vsk.translate_dib(planes_2_dib()), -5, "vskTranslateDIB", "(dib->biPlanes != 1)",
     "vskdib", 154),
    (lambda: vsk.copy(img(w=32, h=16), out=refusing_tiled()), -2, "vskCopy",
     "Error get tile to write", "vskSCE", 353),
])
def test_a_failed_check_raises_the_report_and_resets_the_status(call, status, function,
                                                                condition, file, line):
    with pytest.raises(vsk.VskError) as caught:
        call()
    e = caught.value
    assert (e.status, e.function, e.condition, e.file, e.line) == \
        (status, function, condition, file, line)
    assert e.context == e.condition and e.reports[0] == (status, function, condition, file, line)
    assert "%s:%d" % (file, line) in str(e)
    assert vsk.get_err_status() == 0
    source = vsk.Image.from_array(np.full((2, 2), 7, np.uint8))
    assert (vsk.copy(source).to_array() == 7).all()  # copy does nothing while a status is pending


def test_every_report_of_a_call_is_kept():
    with pytest.raises(vsk.VskError) as caught:
        vsk.decimate(img(), xU=0, xL=0, yU=1, yL=2, interpolate=7, out=img())
    e = caught.value
    assert [(r.condition, r.line) for r in e.reports] == [
        ("interpolate != VSK_INTER_NN, VSK_INTER_LINEAR or VSK_INTER_CUBIC", 101),
        ("xU <= 0", 106), ("xL <= 0", 107)]
    assert (e.condition, e.line) == (e.reports[0].condition, e.reports[0].line)


@pytest.mark.parametrize("call, error", [
    (lambda: vsk.copy(None), TypeError),
    (lambda: vsk.copy(np.zeros((2, 2), np.uint8)), TypeError),
    (lambda: vsk.and_(img(), None), TypeError),
    (lambda: vsk.alpha_composite(img(), img(), alphaImageA="alpha"), TypeError),
    (lambda: vsk.add_s(img(), 2**40), OverflowError),
    (lambda: vsk.add_s(img(), 1.5), TypeError),
    (lambda: vsk.copy(img(), dstTile=(1,)), ValueError),
    (lambda: vsk.zoom(img(), interpolation="bicubic"), ValueError),
    (lambda: vsk.zoom(img(), x=(2, 1), xU=2), TypeError),
    (lambda: vsk.copy(img(), out=img(), dstImage=img()), TypeError),
    (lambda: vsk.translate_dib(b"short"), ValueError),
    (lambda: vsk.translate_dib(struct.pack("<IiiHHIIiiII", 40, 100, 100, 1, 24, 0, 0, 0, 0,
                                           0, 0) + bytes(999)), ValueError),
    (lambda: vsk.convert_from_dib(struct.pack("<IiiHHIIiiII", 40, 4, -4, 1, 8, 0, 0, 0, 0,
                                              0, 0) + bytes(1024)), ValueError),
    (lambda: vsk.convert_to_dib(img(), dib=bytes(200)), TypeError),
    (lambda: vsk.convert_to_dib(img(w=2, h=2), dib=bytearray(
        struct.pack("<IiiHHIIiiII", 40, 2, 2, 1, 8, 0, 0, 0, 0, 2, 0) + bytes(24)),
        palette="median"), ValueError),
    (lambda: vsk.convert_to_dib(img(), bits=8, palette="keep"), ValueError),
])
def test_bad_arguments_raise_python_errors(call, error):
    with pytest.raises(error):
        call()
    assert vsk.get_err_status() == 0


def test_released_images_cannot_be_used():
    image = img()
    view = image[1:3, 1:3]
    vsk.deallocate(image)
    with pytest.raises(ValueError, match="released"):
        vsk.copy(image)
    assert vsk.copy(view).shape == (2, 2, 3)  # the view keeps the buffer


def test_an_exception_in_a_tile_store_reaches_the_caller():
    class Broken(vsk.TileStore):
        def get(self, column, row, mode):
            if (column, row) == (1, 0):
                raise RuntimeError("disk gone")
            return super().get(column, row, mode)

    t = vsk.Image.tiled(32, 16, (16, 16), "8u", 1, store=Broken())
    with pytest.raises(RuntimeError, match="disk gone") as caught:
        vsk.set(t, 1)
    assert any("Error get tile to write" in n for n in getattr(caught.value, "__notes__", [""]))
    assert vsk.get_err_status() == 0


def _per_thread_status():
    seen = []
    t = threading.Thread(target=lambda: (vsk.lib.vskSetErrStatus(-5), seen.append(0)))
    t.start()
    t.join()
    status = vsk.lib.tvskGetErrStatus()
    vsk.lib.vskSetErrStatus(0)
    return status == 0


@pytest.mark.skipif(not _per_thread_status(), reason="the library's error status is per process")
def test_threads_see_their_own_errors():
    failures, results = [], []

    def work(i):
        good = vsk.Image.from_array(np.full((64, 64), i, np.uint8))
        for _ in range(200):
            try:
                vsk.copy(good, out=img("16u"))
                failures.append("no error")
            except vsk.VskError as e:
                if e.line != 56:
                    failures.append(e)
            results.append(int(vsk.add_s(good, 1).to_array()[0, 0]) == i + 1)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not failures and all(results) and len(results) == 800
