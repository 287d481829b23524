"""Reads the files of one set in all formats and compares them with its CSV; the argument is their folder."""

import collections
import csv
import json
import pathlib
import re
import sys
import xml.etree.ElementTree as xml

folder = pathlib.Path(sys.argv[1])
WIDTH, HEIGHT, FRAMES = 640, 480, 100

with open(folder / "all.csv", encoding="utf-8", newline="") as file:
    rows = list(csv.DictReader(file))
assert any(row["value"] == ' =1,"2"\r\n\n" ' for row in rows), "a comment with all that needs quotes"

rects, points, confidences = {}, {}, {}
for row in rows:
    key = (int(row["frame"]), row["name"])
    if key[0] < 0:
        continue
    if row["kind"] == "rect":
        rect = tuple(int(row[c]) for c in ("x", "y", "width", "height"))
        if min(rect[2:]) > 0:
            rects[key] = rect
    elif row["kind"] == "points":
        points[key] = [tuple(map(int, p.split(","))) for p in row["value"].split(";") if p]
    elif row["kind"] == "value" and row["name"].endswith(".confidence"):
        confidences[key[0], row["name"][:-11]] = float(row["value"])
assert len(rects) == 14 and len(points) == 12, (len(rects), len(points))


def label_of(name):
    return re.sub(r"(?<=.)#[0-9]+$", "", name).replace("\n", " ")


def same(what, read, expected):
    assert read == expected, f"{what}: {read} is not {expected}"


for name, step in (("coco.json", 3), ("outlines.json", 2)):
    coco = json.loads((folder / name).read_text(encoding="utf-8"))
    images = {image["id"]: image for image in coco["images"]}
    categories = {category["id"]: category for category in coco["categories"]}
    same(name, coco["videos"][0]["frame_count"], FRAMES)
    boxes, lists, scores = {}, {}, {}
    for annotation in coco["annotations"]:
        image = images[annotation["image_id"]]
        same(name, image["file_name"], f"take 1_{image['frame_id']:06}.png")
        same(name, (image["width"], image["height"]), (WIDTH, HEIGHT))
        category = categories[annotation["category_id"]]
        key = (image["frame_id"], annotation["attributes"]["name"])
        same(name, category["name"].replace("\n", " "), label_of(key[1]))
        numbers = (annotation["segmentation"] or [[]])[0] if step == 2 else annotation.get("keypoints")
        if "derived_bbox" not in annotation["attributes"]:
            boxes[key] = tuple(annotation["bbox"])
        if "score" in annotation:
            scores[key] = annotation["score"]
        if numbers is not None and (step == 3 or numbers):
            lists[key] = [tuple(numbers[i:i + 2]) for i in range(0, len(numbers), step)]
        if step == 3 and numbers:
            assert annotation["num_keypoints"] == len(lists[key]) <= len(category["keypoints"])
    same(name, boxes, rects)
    same(name, scores, confidences)
    same(name, lists, {k: v for k, v in points.items() if step == 3 or len(v) >= 3})

for name, tag, least in (("cvat.xml", "points", 1), ("outlines.xml", "polygon", 3)):
    root = xml.parse(folder / name).getroot()
    same(name, root.findtext("version"), "1.1")
    same(name, root.findtext("meta/task/size"), str(FRAMES))
    labels = {label.text for label in root.iterfind("meta/task/labels/label/name")}
    shapes = collections.Counter()
    for track in root.iterfind("track"):
        assert track.get("label") in labels or not track.get("label")
        frames = [int(shape.get("frame")) for shape in track]
        assert frames == sorted(set(frames)), frames
        for shape, following in zip(track, list(track)[1:] + [None]):
            frame = int(shape.get("frame"))
            if shape.get("outside") == "1":
                continue
            gone = following is not None and following.get("outside") == "1"
            assert gone or frame + 1 >= FRAMES or int(following.get("frame")) == frame + 1
            if shape.tag == "box":
                left, top, right, bottom = (int(shape.get(a)) for a in ("xtl", "ytl", "xbr", "ybr"))
                place = (left, top, right - left, bottom - top)
            else:
                same(name, shape.tag, tag)
                place = tuple(tuple(map(int, p.split(","))) for p in shape.get("points").split(";"))
            shapes[track.get("label"), frame, place] += 1
    expected = [(label_of(k[1]), k[0], v) for k, v in rects.items()]
    expected += [(label_of(k[1]), k[0], tuple(v)) for k, v in points.items() if len(v) >= least]
    same(name, shapes, collections.Counter(expected))

with open(folder / "mot.names.csv", encoding="utf-8", newline="") as file:
    names = {int(row["id"]): row["name"] for row in csv.DictReader(file)}
boxes, scores = {}, {}
for line in (folder / "mot.txt").read_text().splitlines():
    fields = line.split(",")
    assert len(fields) == 10, line
    key = (int(fields[0]) - 1, names[int(fields[1])])
    boxes[key] = tuple(map(int, fields[2:6]))
    if float(fields[6]) != 1:
        scores[key] = float(fields[6])
same("mot", boxes, rects)
same("mot", scores, confidences)
same("mot", names[7], "7")

classes = (folder / "yolo" / "classes.txt").read_text(encoding="utf-8").split("\n")
labels = collections.Counter()
for path in (folder / "yolo").glob("take 1_*.txt"):
    for line in path.read_text().splitlines():
        number, x, y, w, h = line.split()
        size = round(float(w) * WIDTH), round(float(h) * HEIGHT)
        corner = round(float(x) * WIDTH - size[0] / 2), round(float(y) * HEIGHT - size[1] / 2)
        labels[classes[int(number)], int(path.stem.split("_")[1]), corner, size] += 1
expected = collections.Counter()
for (frame, name), (x, y, w, h) in rects.items():
    left, top, right, bottom = max(0, x), max(0, y), min(WIDTH, x + w), min(HEIGHT, y + h)
    if left < right and top < bottom:
        expected[label_of(name), frame, (left, top), (right - left, bottom - top)] += 1
same("yolo", labels, expected)
